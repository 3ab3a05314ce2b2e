// SPDX-License-Identifier: Apache-2.0
#include "Peer.h"

std::unique_ptr<Peer> MakeFloor(const Target& target);
std::unique_ptr<Peer> MakeLibrary(const Target& target);
std::unique_ptr<Peer> MakeStrict(const Target& target);
std::unique_ptr<Peer> MakeStrictAsyn(const Target& target);
std::unique_ptr<Peer> MakeClient(const Target& target);
std::unique_ptr<Peer> MakeClientAsync(const Target& target);
std::unique_ptr<Peer> MakeSocket(const Target& target);
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
        {"floor", &MakeFloor},
        {"libhttpclient", &MakeLibrary},
        {"libhttpclient, STRICT", &MakeStrict},
        {"libhttpclient, STRICT asynchronous", &MakeStrictAsyn},
        {"libhttpclient, Client", &MakeClient},
        {"libhttpclient, Client asynchronous", &MakeClientAsync},
        {"bare socket", &MakeSocket},
        {"libcurl, minimal loop", &MakeMinimal},
        {"libcurl, a handle per request", &MakeHandlePerRequest},
#ifdef WITH_CURLPP
        {"curlpp", &MakeCurlpp},
#endif
#ifdef WITH_HTTPLIB
        {"cpp-httplib", &MakeHttplib},
#endif
#ifdef WITH_POCO
        {"Poco", &MakePoco},
#endif
#ifdef WITH_BEAST
        {"Boost.Beast", &MakeBeast},
#endif
#ifdef WITH_CPPREST
        {"cpprestsdk", &MakeCpprest},
#endif
#ifdef WITH_SOUP
        {"libsoup", &MakeSoup},
#endif
    };
    return peers;
}
