#!/bin/sh
# nscdrestart.sh status|restart: the state of the name service cache daemon, or a restart of it.
set -u
case ${1:-} in
  status)
    if pgrep -x nscd >/dev/null 2>&1; then echo "nscd is running"; else echo "nscd is not running"; fi
    ;;
  restart)
    if ! pgrep -x nscd >/dev/null 2>&1; then
      echo "nscd is not running"
    elif command -v systemctl >/dev/null 2>&1; then
      systemctl restart nscd
    else
      /etc/init.d/nscd restart
    fi
    ;;
  *)
    echo "usage: nscdrestart.sh status|restart"
    exit 2
    ;;
esac
