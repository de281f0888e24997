#!/bin/sh
# joinscope_debugcache.sh: what helps with the agent's cache of directory objects.
set -u
echo "Join settings:"
for file in /var/orvald/kset.*; do
  [ -f "$file" ] && printf '  %s: %s\n' "${file##*/}" "$(cat "$file")"
done
echo "Daemon:"
if pid=$(pgrep -x velkd); then
  ps -o pid,etime,rss,args -p "$pid" | sed 's/^/  /'
  joinscope --sysinfo adagent 2>&1 | sed 's/^/  /'
else
  echo "  velkd is not running"
fi
