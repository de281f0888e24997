# ./dev package: will make the Debian package.
run() { die "package: there is no Debian package yet; './dev build release' makes build/release/bin/joinscope"; }
