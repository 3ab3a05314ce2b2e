// SPDX-License-Identifier: Apache-2.0
// The functions of OpenSSL that the engine calls and that may fail. One that does says why in the error queue, as they
// all do: that memory is exhausted, or that something else went wrong within.
#include <cstddef>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include "FaultLedger.h"
#include "interpose/Next.h"

namespace {

bool Fails() {
    if (!fault_ledger::Refuses(Fault::OpenSsl)) {
        return false;
    }
    const WithoutFaults exempt;
    ERR_raise(ERR_LIB_SSL, fault_ledger::Variant() == 0 ? ERR_R_MALLOC_FAILURE : ERR_R_INTERNAL_ERROR);
    return true;
}

/// Calls the real function, unless it fails.
template <class Result, class... Arguments>
Result Hold(const char* name, Result failure, Arguments... arguments) {
    auto* const next = [name] {
        const WithoutFaults exempt;
        return httpclient::testing::Next<Result(Arguments...)>(name);
    }();
    return Fails() ? failure : next(arguments...);
}

} // namespace

extern "C" {

// clang-format off: a table
// NOLINTBEGIN(readability-identifier-naming): OpenSSL gives the names
SSL_CTX* SSL_CTX_new(const SSL_METHOD* m) {
    return Hold<SSL_CTX*>("SSL_CTX_new", nullptr, m);
}
int SSL_CTX_set_alpn_protos(SSL_CTX* c, const unsigned char* p, unsigned n) {
    return Hold("SSL_CTX_set_alpn_protos", 1, c, p, n);
}
int SSL_CTX_set_purpose(SSL_CTX* c, int p) {
    return Hold("SSL_CTX_set_purpose", 0, c, p);
}
int SSL_CTX_use_PrivateKey(SSL_CTX* c, EVP_PKEY* k) {
    return Hold("SSL_CTX_use_PrivateKey", 0, c, k);
}
int SSL_CTX_check_private_key(const SSL_CTX* c) {
    return Hold("SSL_CTX_check_private_key", 0, c);
}
int SSL_CTX_use_certificate(SSL_CTX* c, X509* x) {
    return Hold("SSL_CTX_use_certificate", 0, c, x);
}
SSL* SSL_new(SSL_CTX* c) {
    return Hold<SSL*>("SSL_new", nullptr, c);
}
long SSL_ctrl(SSL* s, int command, long n, void* p) {
    return Hold<long>("SSL_ctrl", 0, s, command, n, p);
}
int SSL_set_ex_data(SSL* s, int i, void* p) {
    return Hold("SSL_set_ex_data", 0, s, i, p);
}
int SSL_set_session(SSL* s, SSL_SESSION* e) {
    return Hold("SSL_set_session", 0, s, e);
}
SSL_SESSION* SSL_get1_session(SSL* s) {
    return Hold<SSL_SESSION*>("SSL_get1_session", nullptr, s);
}
int SSL_do_handshake(SSL* s) {
    return Hold("SSL_do_handshake", -1, s);
}
int SSL_write_ex(SSL* s, const void* p, std::size_t n, std::size_t* w) {
    return Hold("SSL_write_ex", 0, s, p, n, w);
}
int SSL_read_ex(SSL* s, void* p, std::size_t n, std::size_t* r) {
    return Hold("SSL_read_ex", 0, s, p, n, r);
}
int SSL_peek_ex(SSL* s, void* p, std::size_t n, std::size_t* r) {
    return Hold("SSL_peek_ex", 0, s, p, n, r);
}
int SSL_shutdown(SSL* s) {
    return Hold("SSL_shutdown", -1, s);
}
BIO* BIO_new(const BIO_METHOD* m) {
    return Hold<BIO*>("BIO_new", nullptr, m);
}
BIO* BIO_new_mem_buf(const void* p, int n) {
    return Hold<BIO*>("BIO_new_mem_buf", nullptr, p, n);
}
EVP_PKEY* PEM_read_bio_PrivateKey(BIO* b, EVP_PKEY** k, pem_password_cb* f, void* u) {
    return Hold<EVP_PKEY*>("PEM_read_bio_PrivateKey", nullptr, b, k, f, u);
}
X509* PEM_read_bio_X509_AUX(BIO* b, X509** x, pem_password_cb* f, void* u) {
    return Hold<X509*>("PEM_read_bio_X509_AUX", nullptr, b, x, f, u);
}
int X509_STORE_add_cert(X509_STORE* s, X509* x) {
    return Hold("X509_STORE_add_cert", 0, s, x);
}
int X509_STORE_set_flags(X509_STORE* s, unsigned long f) {
    return Hold("X509_STORE_set_flags", 0, s, f);
}
int X509_VERIFY_PARAM_set1_host(X509_VERIFY_PARAM* v, const char* p, std::size_t n) {
    return Hold("X509_VERIFY_PARAM_set1_host", 0, v, p, n);
}
int X509_VERIFY_PARAM_set1_ip_asc(X509_VERIFY_PARAM* v, const char* p) {
    return Hold("X509_VERIFY_PARAM_set1_ip_asc", 0, v, p);
}
EVP_MD_CTX* EVP_MD_CTX_new() {
    return Hold<EVP_MD_CTX*>("EVP_MD_CTX_new", nullptr);
}
int EVP_DigestInit_ex(EVP_MD_CTX* c, const EVP_MD* d, ENGINE* e) {
    return Hold("EVP_DigestInit_ex", 0, c, d, e);
}
int EVP_DigestUpdate(EVP_MD_CTX* c, const void* p, std::size_t n) {
    return Hold("EVP_DigestUpdate", 0, c, p, n);
}
int EVP_DigestFinal_ex(EVP_MD_CTX* c, unsigned char* p, unsigned* n) {
    return Hold("EVP_DigestFinal_ex", 0, c, p, n);
}
// NOLINTEND(readability-identifier-naming)
// clang-format on

} // extern "C"
