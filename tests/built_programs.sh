#!/bin/sh
# built_programs.sh [--hardened] PROGRAM...: fails when a program brings its own places to load libraries from (RPATH,
# RUNPATH; an empty element there is the current directory, also for root). With --hardened also when its functions do
# not begin with a landing pad for indirect branches, when none touches the pages of its stack on the way down, or when
# its relocations stay writable.
hardened=
[ "$1" != --hardened ] || { hardened=yes; shift; }
status=0

fails() {
  echo "$program: $1"
  status=1
}

for program; do
  entries=$(readelf -dW -- "$program") || exit 1
  ! echo "$entries" | grep -E 'R(UN)?PATH' || fails "has a run path"
  [ "$hardened" ] || continue
  echo "$entries" | grep -q BIND_NOW || fails "binds lazily"
  objdump -d --no-show-raw-insn --disassemble=main -- "$program" | grep -q endbr64 || fails "has no landing pads"
  # shellcheck disable=SC2016 # an instruction's operand
  objdump -d --no-show-raw-insn -- "$program" | grep -qE 'orq +\$0x0,\(%rsp\)' || fails "does not probe its stack"
done
exit $status
