// SPDX-License-Identifier: Apache-2.0
#include "net/SocketBio.h"

#include <cerrno>
#include <new>

#include "net/Socket.h"

namespace httpclient::net {

namespace {

SocketBio& SocketOf(BIO* bio) {
    return *static_cast<SocketBio*>(BIO_get_data(bio));
}

int WriteBytes(BIO* bio, const char* bytes, std::size_t size, std::size_t* written) {
    BIO_clear_retry_flags(bio);
    SocketBio& socket = SocketOf(bio);
    const ssize_t count = Send(socket.fd, bytes, size);
    if (count >= 0) {
        *written = static_cast<std::size_t>(count);
        return 1;
    }
    if (WouldBlock(errno)) {
        BIO_set_retry_write(bio);
    } else {
        socket.writeError = errno;
    }
    return 0;
}

int ReadBytes(BIO* bio, char* to, std::size_t room, std::size_t* read) {
    BIO_clear_retry_flags(bio);
    SocketBio& socket = SocketOf(bio);
    if (socket.drained && !socket.askAgain) {
        BIO_set_retry_read(bio);
        return 0;
    }
    const ssize_t count = Receive(socket.fd, to, room);
    socket.drained = count < static_cast<ssize_t>(room);
    if (count > 0) {
        *read = static_cast<std::size_t>(count);
        return 1;
    }
    if (count == 0) {
        socket.ended = true;
    } else if (WouldBlock(errno)) {
        BIO_set_retry_read(bio);
    } else {
        socket.readError = errno;
    }
    return 0;
}

long Control(BIO* bio, int command, long /*number*/, void* /*pointer*/) {
    switch (command) {
    case BIO_CTRL_FLUSH:
        return 1;
    case BIO_CTRL_EOF:
        return SocketOf(bio).ended ? 1 : 0;
    default:
        return 0;
    }
}

/// @throw std::bad_alloc
BioMethodPtr MakeMethod() {
    const int type = BIO_get_new_index();
    BioMethodPtr method(type == -1 ? nullptr
                                   : BIO_meth_new(type | BIO_TYPE_SOURCE_SINK, "httpclient socket"));
    if (!method || BIO_meth_set_write_ex(method.get(), &WriteBytes) != 1 ||
        BIO_meth_set_read_ex(method.get(), &ReadBytes) != 1 ||
        BIO_meth_set_ctrl(method.get(), &Control) != 1) {
        throw std::bad_alloc();
    }
    return method;
}

} // namespace

BioPtr MakeBio(SocketBio& socket) {
    // Never freed, so that threads that outlive main() may still use it. Tried again after a failure.
    static const BIO_METHOD* const method = MakeMethod().release();
    BioPtr bio(BIO_new(method));
    if (bio) {
        BIO_set_data(bio.get(), &socket);
        BIO_set_init(bio.get(), 1);
    }
    return bio;
}

} // namespace httpclient::net
