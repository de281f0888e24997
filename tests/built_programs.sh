#!/bin/sh
# no_run_path.sh PROGRAM...: fails when a program brings its own places to load libraries from (RPATH, RUNPATH); an
# empty element there is the current directory, also for root.
status=0
for program; do
  entries=$(readelf -dW -- "$program") || exit 1
  if found=$(echo "$entries" | grep -E 'R(UN)?PATH'); then
    echo "$program: $found"
    status=1
  fi
done
exit $status
