#!/bin/sh
# joinscope_pkgverify.sh [list]: compares the installed agent files with their package, or lists them.
set -u
package=joinscope
if command -v dpkg-query >/dev/null 2>&1 && dpkg-query -W "$package" >/dev/null 2>&1; then
  if [ "${1:-}" = list ]; then dpkg-query -L "$package"; else dpkg --verify "$package" && echo "$package: verified"; fi
elif command -v rpm >/dev/null 2>&1 && rpm -q "$package" >/dev/null 2>&1; then
  if [ "${1:-}" = list ]; then rpm -ql "$package"; else rpm -V "$package" && echo "$package: verified"; fi
else
  echo "$package: not installed from a package"
fi
