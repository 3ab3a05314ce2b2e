// SPDX-License-Identifier: Apache-2.0
#include "Peer.h"

std::unique_ptr<Peer> MakeFloor(const Target& target);
std::unique_ptr<Peer> MakeLibrary(const Target& target);
std::unique_ptr<Peer> MakeMinimal(const Target& target);
std::unique_ptr<Peer> MakeHandlePerRequest(const Target& target);
std::unique_ptr<Peer> MakeCurlpp(const Target& target);
std::unique_ptr<Peer> MakeHttplib(const Target& target);
std::unique_ptr<Peer> MakePoco(const Target& target);
std::unique_ptr<Peer> MakeBeast(const Target& target);
std::unique_ptr<Peer> MakeCpprest(const Target& target);
std::unique_ptr<Peer> MakeSoup(const Target& target);

const std::vector<PeerKind>& AllPeers() {
    static const std::vector<PeerKind> peers{
        {"floor", &MakeFloor, true},
        {"libhttpclient", &MakeLibrary, true},
        {"libcurl, minimal loop", &MakeMinimal, true},
        {"libcurl, a handle per request", &MakeHandlePerRequest, true},
#ifdef WITH_CURLPP
        {"curlpp", &MakeCurlpp, true},
#endif
#ifdef WITH_HTTPLIB
        {"cpp-httplib", &MakeHttplib, true},
#endif
#ifdef WITH_POCO
        {"Poco", &MakePoco, false},
#endif
#ifdef WITH_BEAST
        {"Boost.Beast", &MakeBeast, false},
#endif
#ifdef WITH_CPPREST
        {"cpprestsdk", &MakeCpprest, false},
#endif
#ifdef WITH_SOUP
        {"libsoup", &MakeSoup, false},
#endif
    };
    return peers;
}
