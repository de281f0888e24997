#!/bin/bash
# The site check: who the caller is, and a one-time code for it. Without the header of the native client it refuses.
printf 'Content-Type: text/html\r\n\r\n<html><body>'
code=${REMOTE_USER//[^A-Za-z0-9]/-}-$(</proc/sys/kernel/random/uuid)
case ${REQUEST_URI%/iwa/SiteCheck} in
  /empty) ;;
  /nobrace) printf '"result":"success"' ;;
  /half) printf '{"result":"success"' ;;
  /broken) printf '{"result":}' ;;
  /refused) printf '{"result":"failure"}' ;;
  /nocode) printf '{"result":"success"}' ;;
  *)
    result=refused
    [[ ${HTTP_X_PELLION_NATIVE_CLIENT:-} != 1 ]] || result=success
    printf 'checked: {"result":"%s","user":"%s","otc":"%s"} done' "$result" "$REMOTE_USER" "$code"
    ;;
esac
printf '</body></html>\n'
