# Facts of broken hosts for the tests of joincheck's rules: tests/data/facts/NAME.json (README.md there) for each trouble,
# healthy.json for host1 as it is, guest.json for guest1 that is to be joined. What the cases expect stays as it is; a
# new file expects what joincheck says now, for whoever commits it to judge.
factsFolder=$ROOT/tests/data/facts

cmd-record() {
  local names=("$@") name
  (($# > 0)) || mapfile -t names < <(echo healthy; echo guest; cd "$ROOT/lab/trouble" && printf '%s\n' *.sh | sed 's/\.sh$//')
  for name in "${names[@]}"; do
    # A fresh one each time, so that a case differs by its trouble alone.
    sameLab down
    sameLab up
    [[ $name == healthy || $name == guest ]] || sameLab break "$name"
    recordFacts "$name"
  done 2>"$labRoot/record.log" || { tail -n 5 "$labRoot/record.log" >&2; die "$name could not be recorded"; }
  sameLab down
}

# sameLab COMMAND...: of this lab, in a process of its own.
sameLab() { "$ROOT/lab/lab" --name "$labName" "$@"; }

# subjectOf NAME: the case that it differs from, the host that joincheck runs on, and how it is asked there: as the first
# line of the trouble says whom it is about.
subjectOf() {
  local about=$1
  [[ ! -e $ROOT/lab/trouble/$1.sh ]] || about=$(head -n 1 "$ROOT/lab/trouble/$1.sh")
  case $about in
    guest | *guest1*) echo guest guest1 --join "$domain" -u alice ;;
    *alice*) echo healthy host1 -u alice ;;
    *) echo healthy host1 ;;
  esac
}

# recordFacts NAME: the case file of this name, from the lab as it is now.
recordFacts() {
  local target=$factsFolder/$1.json program base host arguments status=0
  program=$(velkdProgram) || die "nothing is built; run './dev build'"
  read -r base host arguments < <(subjectOf "$1")
  # shellcheck disable=SC2086  # words
  inNode "$host" "${program%/*}/joincheck" --json --save /run/facts.json $arguments \
    <<<"Alice-Pass1" >"$state/report.json" 2>"$state/record.log" || status=$?
  ((status < 4)) || { cat "$state/record.log" >&2; die "joincheck ended with $status"; }
  [[ $1 == "$base" ]] && base=''
  inNode "$host" cat /run/facts.json |
    python3 "$ROOT/lab/data/facts_case.py" "$target" "$state/report.json" ${base:+"$factsFolder/$base.json"} >"$state/case.json"
  mv "$state/case.json" "$target"
  echo "recorded: $1: $(tr ',' '\n' <"$target" | head -n 2 | tr -d '\n')"
}
