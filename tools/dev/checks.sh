# ./dev checks: writes the lists of checks, docs/checks.md and that of docs/joincheck.1, as joincheck tells them.
. "$ROOT/tools/dev/build.sh"

# checksPage PROGRAM: all checks, explained.
checksPage() {
  cat <<'END'
# The checks of joincheck

Written by `./dev checks` from `joincheck --explain all`. A check `needs` others: while one of those is broken, what this
one finds follows from it. `joincheck --list` is the short list.

END
  "$1" --explain all
}

# manualList PROGRAM: the list for the manual page.
manualList() {
  echo '.Bl -tag -width Ds'
  "$1" --list | sed -E 's/-/\\-/g; s/^([^ ]+) +(.*)$/.It Cm \1\n\2./'
  echo '.El'
}

run() {
  local program=$ROOT/build/dev/bin/joincheck page=$ROOT/docs/joincheck.1 list
  buildPreset dev joincheck
  checksPage "$program" >"$ROOT/docs/checks.md"
  list=$(mktemp)
  manualList "$program" >"$list"
  # shellcheck disable=SC2016 # sed's own words
  sed -i -e '/^\.\\" checks begin/,/^\.\\" checks end/{//!d}' -e "/^\\.\\\\\" checks begin/r $list" "$page"
  rm -f "$list"
}
