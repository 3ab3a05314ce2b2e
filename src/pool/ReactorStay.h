// SPDX-License-Identifier: Apache-2.0
/// @file
/// Keeps the pool's thread out of ACE once the process exits.
#pragma once

class ACE_Reactor;

/// The time that the pool's thread spends in its reactor.
///
/// exit() runs ACE's clean-up, after which a thread that still waits in a reactor crashes when its wait
/// ends. So exit() has the thread leave first, and a thread that comes back from a sweep later does not go
/// in again. It stays where it is, without a word, until the process is gone, or until Finalize() lets it
/// go, which then ends it.
///
/// There is one at a time: pools are made one after the other.
class ReactorStay {
public:
    /// Before the thread of a new pool is started. @return whether it may be: ACE's clean-up may have begun.
    static bool Prepare();
    /// On that thread, as it begins: ACE's entry of a thread, which uses what ACE's clean-up destroys, is behind it. Lives
    /// until the thread has logged, or has ended in the log.
    class WayIn {
    public:
        WayIn();
        ~WayIn();
        WayIn(const WayIn&) = delete;
        WayIn& operator=(const WayIn&) = delete;
    };
    /// Waits until the thread has begun. exit() does so, too: it may be called by another thread.
    static void AwaitBeginning();
    /// Lets a thread go that exit() keeps out of its reactor: the pool ends, or has no thread.
    static void LetGo();

    /// Waits, for a second at most, while a new pool's thread is on its way in. A child that is forked then would find
    /// the log held by that thread.
    static void AwaitEntry();

    /// On the pool's own thread.
    explicit ReactorStay(ACE_Reactor& reactor);
    ~ReactorStay();
    ReactorStay(const ReactorStay&) = delete;
    ReactorStay& operator=(const ReactorStay&) = delete;

    /// While it lives, the pool's thread is out of its reactor, though called by it: a sweep may wait for
    /// the pool's lock, and so exit() does not wait for a sweep here. Does nothing on other threads.
    class Pause {
    public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };

private:
    void Enter();
    void Leave();

    ACE_Reactor& m_reactor;
};
