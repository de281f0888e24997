#!/usr/bin/perl
# stacktrace.pl FILE: writes the stacks of the running velkd into FILE, or a line there that says why it cannot.
use strict;
use warnings;
use Fcntl qw(F_GETLK F_WRLCK F_UNLCK SEEK_SET);

my $target = shift or die "usage: stacktrace.pl FILE\n";
umask 077;
unlink $target;
open(my $out, '>', $target) or die "$target: $!\n";

# The root process that holds the daemon's lock: a name proves nothing, and anybody may lock a file that he can read.
sub daemonId {
  open(my $file, '<', '/var/run/velkd.lock') or return;
  my $format = 's s x![q] q q i x![q]';  # struct flock: type, whence, start, length, process
  my $lock = pack($format, F_WRLCK, SEEK_SET, 0, 0, 0);
  fcntl($file, F_GETLK, $lock) or return;
  my ($type, $id) = (unpack $format, $lock)[0, 4];
  return if $type == F_UNLCK || $id <= 0;
  open(my $status, '<', "/proc/$id/status") or return;
  return (grep { /^Uid:(\s+0){4}$/ } <$status>) ? $id : undef;
}

# Whether the process is stopped by a signal.
sub isStopped {
  open(my $status, '<', "/proc/$_[0]/status") or return;
  return scalar grep { /^State:\s+T/ } <$status>;
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
my $pipe;
my $stopped = defined $id && isStopped($id);

# A debugger that is killed while it attaches leaves the daemon stopped. What ends this script ends the debugger, too,
# which detaches when it is given the time.
$SIG{$_} = sub { exit 143 } for qw(HUP INT TERM);
END {
  local $?;
  close $pipe if $pipe;
  kill 'CONT', $id if defined $id && !$stopped && isStopped($id);
}

if (!defined $id) {
  print $out "velkd is not running\n";
} else {
  my $debugger = (grep { -x } ('/usr/bin/gdb', '/bin/gdb'))[0];
  my $text = '';
  open(STDERR, '>', '/dev/null');  # the debugger's complaints about missing symbols
  # No start-up file and no script that the daemon's files bring along: all of it would run as root.
  my @quiet = ('-q', '-batch', '-nx', '-iex', 'set auto-load off', '-iex', 'set debuginfod enabled off');
  if ($debugger && open($pipe, '-|', $debugger, @quiet, '-p', $id, '-ex', 'thread apply all bt')) {
    local $/;
    $text = <$pipe> // '';
  }
  print $out $text =~ /^#0/m ? $text : fromKernel($id);
}
close $out;
print "Stack trace: $target\n";
