# SPDX-License-Identifier: Apache-2.0
exec httpclient-demo --tls "$SSL_ROOT/test-server" --port "${1:-8443}"
