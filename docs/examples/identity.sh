# SPDX-License-Identifier: Apache-2.0
export enableServiceIdentity=true APP_ROOT=$PWD/app APP_NAME=myservice
export OVEX_MAINTENANCE_IP=${OVEX_MAINTENANCE_IP:-127.0.0.1} # the token service's host
umask 077
mkdir -p "$APP_ROOT/etc/authconf/jwt"
cat >"$APP_ROOT/etc/authconf/jwt/service_url_config.json" <<END
{"/rest/billing/*": {"type": "sia", "service": "BillingService"}}
END
cat >"$APP_ROOT/etc/authconf/jwt/jwt_$APP_NAME.json" <<END
{"jwt": "header.payload.signature"}
END
ovex-tls check # now looks at these files, too
