# clock-skew: "Clock skew too great" at ssh and NFS while kinit works: the clock of host1 is 20 minutes ahead
#
# By libfaketime in every program that starts there. libkrb5 hides the skew from kinit, as it takes the KDC's time.
breakIt() {
  keep host1 /etc/faketimerc /etc/ld.so.preload
  fill host1 /etc/faketimerc <<<+20m
  fill host1 /etc/ld.so.preload <<<"$(inNode host1 bash -c 'echo /usr/lib/*/faketime/libfaketimeMT.so.1')"
  daemonStop
  daemonStart
}

# On a real host: chronyc makestep. The daemon starts anew, as libfaketime has set its timers back as well.
remedy() {
  onHost host1 'echo +0 >/etc/faketimerc'
  daemonStop
  daemonStart
}

repair() { putBack host1; }
