# dead-controllers: some logins take long: DNS names ten more controllers that are switched off
breakIt() {
  . "$ROOT/lab/scenario/dead-controllers.sh"
  scenario 10
}

remedy() { repair; }

repair() {
  . "$ROOT/lab/scenario/dead-controllers.sh"
  scenario 0
}
