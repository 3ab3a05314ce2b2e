// SPDX-License-Identifier: Apache-2.0
/// @file
/// The way down of an exchange: an answer from a connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "engine/Connecting.h"
#include "http1/ResponseReader.h"
#include "net/Channel.h"

namespace httpclient::engine {

/// Memory for received bytes, of the driver's: a connection holds none.
struct Scratch {
    char* data;
    std::size_t size;
};

/// Reads one answer. What was received and not yet read waits in the scratch memory, until Preserve() takes it out.
class Receiving {
public:
    enum class Status {
        Pending, ///< nothing more is there just now: wants()
        Again,   ///< more may be there, but others may go first
        Head,    ///< the final head is there; KeepBody() or HandOverBody(), then Step() again
        Piece,   ///< piece() is there for the sink
        Ended,   ///< the answer is whole
        Failed   ///< fault()
    };

    Receiving(Method method, const http1::Limits& limits, bool decode, http1::ResponseHead& head);

    /// Receives and reads. Goes on where the last one stopped.
    Status Step(net::Channel& channel, Scratch scratch);

    /// To be called after Head or Piece when the scratch memory is used for something else before the next Step().
    /// The piece itself stays where it is, which may be the scratch memory.
    void Preserve();

    /// @return what the sink takes, after Piece.
    std::string_view piece() const noexcept { return m_piece; }
    http1::ResponseReader& reader() noexcept { return m_reader; }
    net::Wants wants() const noexcept { return m_wants; }
    Fault& fault() noexcept { return m_fault; }
    /// @return whether bytes came behind the answer, or the connection ended with it.
    bool surplus() const noexcept { return m_surplus; }
    /// @return whether any byte of an answer has arrived.
    bool begun() const noexcept { return m_reader.begun(); }
    std::uint64_t received() const noexcept { return m_received; }
    /// @return whether the connection has ended with the answer, or before.
    bool ended() const noexcept { return m_ended; }

private:
    Status Read(net::Channel& channel, Scratch scratch);
    Status ReadToScratch(net::Channel& channel, Scratch scratch);
    Status Feed(std::string_view bytes);
    Status ReadDirectly(net::Channel& channel, http1::ResponseReader::Room room);
    Status EndOfInput(const net::IoResult& result);
    Status Fail(const net::IoResult& result);
    Status FailByGrammar();

    http1::ResponseReader m_reader;
    std::string_view m_left;  ///< received and not yet read
    std::string_view m_piece; ///< for the sink
    std::string m_preserved;  ///< where it stands after Preserve()
    bool m_goOn = false;      ///< the reader has more to tell without new bytes
    bool m_ended = false;     ///< the connection did
    bool m_endedCleanly = false;
    bool m_surplus = false;
    net::Wants m_wants = net::Wants::Read;
    Fault m_fault;
    std::uint64_t m_received = 0;
};

} // namespace httpclient::engine
