# ./dev lint: formatting, static checks of C++ and shell, manual pages, sizes and heads of files, stray files, subjects
# of commits, layers, the tests that SECURITY.md names. Runs every check and fails when one did.
. "$ROOT/tools/dev/build.sh"

# tracked PATTERN...: the tracked files that match and are still there, one a line.
tracked() {
  local file
  git -C "$ROOT" ls-files -- "$@" | while IFS= read -r file; do
    [[ ! -f $ROOT/$file ]] || echo "$file"
  done
}

# shellFiles: the tracked files that bash runs.
shellFiles() { { tracked '*.sh'; tracked dev lab tools bench .ci | xargs -r grep -lIE -m1 '^#!.*\bbash'; } | sort -u; }

checkFormat() { tracked '*.cpp' '*.h' | xargs -r clang-format-16 --dry-run --Werror; }

checkShell() { shellFiles | xargs -r shellcheck --shell=bash --external-sources --source-path="$ROOT"; }

checkManuals() { tracked '*.[1-8]' | xargs -r -n 1 mandoc -T lint -W warning; }

checkLayers() { "$ROOT/tools/check-layers"; }

# checkSizes: a long file asks to be two, one with next to nothing in it to be part of another.
checkSizes() {
  {
    tracked '*.cpp' ':!tests' ':!fuzz' ':!*main.cpp' | xargs -r wc -l | awk '$2 != "total" && $1 < 14 { print $2 ": " $1 " lines, 14 at least" }'
    tracked '*.cpp' '*.h' | xargs -r wc -l | awk '$2 != "total" && $1 > 500 { print $2 ": " $1 " lines, 500 at most" }'
    shellFiles | xargs -r wc -l | awk '$2 != "total" && $1 > 200 { print $2 ": " $1 " lines, 200 at most" }'
  } | { ! grep .; }
}

# checkHeads: the first line of a file of the product says what it is for, or how it works.
checkHeads() { tracked '*.cpp' '*.h' ':!tests' | xargs -r awk 'FNR == 1 && !/^\/\// { print FILENAME ": begins without a comment" }' | { ! grep .; }; }

# checkStray: no empty file is tracked, and in the root nothing but what belongs there.
checkStray() {
  {
    tracked | while IFS= read -r file; do [[ -s $file ]] || echo "$file: is empty"; done
    tracked | sed -E '\#/|^(\..*|[A-Z]+\.md|LICENSE|CMake(Lists\.txt|Presets\.json)|dev)$#d; s/$/: does not belong in the root/'
  } | { ! grep .; }
}

# checkSubjects: the subjects of the last commits fit into a line of a list.
checkSubjects() { git -C "$ROOT" log --no-merges --max-count=10 --format='%h %s' | awk 'length($0) - length($1) > 73' | { ! grep .; }; }

# checkPromises: the tests that SECURITY.md names are there.
checkPromises() {
  # shellcheck disable=SC2016 # backticks of the page
  grep -oE '`[A-Z][A-Za-z0-9]+\.[A-Z][A-Za-z0-9]+`' SECURITY.md | tr -d '`' | sort -u | while IFS=. read -r suite test; do
    grep -rqzE "TEST(_F|_P)?\($suite,[[:space:]]*$test\)" tests || echo "SECURITY.md: there is no test $suite.$test"
  done | { ! grep .; }
}

# checkTidy: clang-tidy over every tracked source of the dev preset; what has passed once is not looked at again.
checkTidy() {
  configurePreset dev
  find "${XDG_CACHE_HOME:-$HOME/.cache}/joinscope/tidy" -type f -mtime +30 -delete 2>/dev/null || true
  tracked '*.cpp' | xargs -r -P "$(nproc)" -n 1 "$ROOT/tools/tidy-file"
}

run() {
  local check failed=()
  verb setup --quiet
  cd "$ROOT" || die "the project folder is gone"
  for check in Format Shell Manuals Layers Sizes Heads Stray Subjects Promises Tidy; do
    timed "lint: ${check,}" "check$check" || failed+=("${check,}")
  done
  ((${#failed[@]} == 0)) || die "lint: failed: ${failed[*]}"
}
