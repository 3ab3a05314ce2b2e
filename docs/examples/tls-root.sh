# SPDX-License-Identifier: Apache-2.0
export VORN_KEY_FILE=$PWD/master.key SSL_ROOT=$PWD/tls-root
ovex-tls init-key                         # the key that encrypts the password of the key
ovex-tls layout "$SSL_ROOT" --self-signed # certificates for trying out; your own: --ca, --cert, --key
ovex-tls check                            # what a process will find
