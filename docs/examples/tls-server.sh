# SPDX-License-Identifier: Apache-2.0
cd "$SSL_ROOT/test-server" &&
    exec openssl s_server -accept "${1:-8443}" -www -cert server.cer -key server_key.pem -CAfile trust.cer -Verify 1
