#!/bin/sh
# joinscope_debugcache.sh: what helps with the agent's cache of directory objects, on standard output and, with the
# files of the join, in a bundle as joinscope_extra.sh makes it.
set -u
umask 077
PATH=/usr/sbin:/usr/bin:/sbin:/bin
report=/var/orvald/tmp/joinscope_debugcache.txt
mkdir -p /var/orvald/tmp && chmod 700 /var/orvald/tmp && rm -f "$report" || exit 1

describe() {
  echo "Join settings:"
  for file in /var/orvald/kset.*; do
    # The one line of each, fit for a terminal: a setting holds what the directory or the network said.
    [ -f "$file" ] && printf '  %s: %s\n' "${file##*/}" "$(head -c 4096 -- "$file" | head -n 1 | tr '\001-\011\013-\037\177' '?')"
  done
  echo "Daemon:"
  if pid=$(pgrep -u root -x velkd); then
    ps -o pid,etime,rss,args -p "$(echo "$pid" | tr '\n' , | sed 's/,$//')" | sed 's/^/  /'
    /usr/bin/joinscope --sysinfo adagent 2>&1 | sed 's/^/  /'
  else
    echo "  velkd is not running"
  fi
}

describe | tee "$report"
for file in /var/orvald/kset.* /var/orvald/previous; do [ ! -e "$file" ] || set -- "$@" "$file"; done
"${0%/*}/joinscope_extra.sh" "$@" "$report"
