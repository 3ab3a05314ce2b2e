// SPDX-License-Identifier: Apache-2.0
#include "seam/NoVerification.h"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>

#include "interpose/Next.h"

namespace {

thread_local bool t_refused = false;

} // namespace

NoVerification::NoVerification() {
    t_refused = true;
}

NoVerification::~NoVerification() {
    t_refused = false;
}

extern "C" X509_STORE_CTX* X509_STORE_CTX_new_ex(OSSL_LIB_CTX* library, const char* query) {
    static auto* const next =
        httpclient::testing::Next<X509_STORE_CTX*(OSSL_LIB_CTX*, const char*)>("X509_STORE_CTX_new_ex");
    if (!t_refused) {
        return next(library, query);
    }
    ERR_raise(ERR_LIB_X509, ERR_R_MALLOC_FAILURE);
    return nullptr;
}
