#!/usr/bin/perl
# stacktrace.pl FILE: writes the stacks of the running velkd into FILE, or a line there that says why it cannot.
use strict;
use warnings;

my $target = shift or die "usage: stacktrace.pl FILE\n";
umask 077;
unlink $target;
open(my $out, '>', $target) or die "$target: $!\n";

sub daemonId {
  for my $comm (glob '/proc/[0-9]*/comm') {
    open(my $file, '<', $comm) or next;
    my $name = <$file> // '';
    return $1 if $name eq "velkd\n" && $comm =~ m{/(\d+)/};
  }
  return;
}

sub fromKernel {
  my ($id) = @_;
  my $text = '';
  for my $task (glob "/proc/$id/task/*") {
    $text .= "$task\n";
    for my $name (qw(comm wchan syscall stack)) {
      open(my $file, '<', "$task/$name") or next;
      local $/;
      $text .= "$name: " . (<$file> // '') . "\n";
    }
  }
  return $text;
}

my $id = daemonId();
if (!defined $id) {
  print $out "velkd is not running\n";
} else {
  my $debugger = (grep { -x } ('/usr/bin/gdb', '/bin/gdb'))[0];
  my $text = '';
  open(STDERR, '>', '/dev/null');  # the debugger's complaints about missing symbols
  if ($debugger && open(my $pipe, '-|', $debugger, '-q', '-batch', '-p', $id, '-ex', 'thread apply all bt')) {
    local $/;
    $text = <$pipe> // '';
  }
  print $out $text =~ /^#0/m ? $text : fromKernel($id);
}
close $out;
print "Stack trace: $target\n";
