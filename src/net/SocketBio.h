// SPDX-License-Identifier: Apache-2.0
/// @file
/// How OpenSSL reads from and writes to a socket of ours.
#pragma once

#include "net/OpenSsl.h"

namespace httpclient::net {

/// A socket under OpenSSL, and what its last system calls came to. OpenSSL's own socket BIO writes with write(),
/// which raises SIGPIPE, and tells of errors by errno and the error queue alone.
struct SocketBio {
    int fd = -1;
    bool ended = false;   ///< the peer has sent its end
    int readError = 0;    ///< the number of the system's error; 0: none
    int writeError = 0;   ///< the same for writing
    bool drained = false; ///< the last recv() took less than it had room for: nothing more was there
    bool askAgain = true; ///< whether recv() is called though the socket was drained
};

/// @return a BIO over @p socket, which must outlive it; null when memory is exhausted.
BioPtr MakeBio(SocketBio& socket);

} // namespace httpclient::net
