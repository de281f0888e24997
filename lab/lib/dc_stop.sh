# Runs on the domain controller: ends its services in an orderly way and waits until they are gone.

# gone: none of their processes is left.
gone() { ! { pgrep samba || pgrep smbd || pgrep winbindd || pgrep chronyd; } >/dev/null; }

for file in /run/samba/samba.pid /run/chrony/chronyd.pid; do
  { read -r pid <"$file" && kill "$pid"; } 2>/dev/null
done
for ((tries = 0; tries < 300; tries++)); do
  ! gone || exit 0
  sleep 0.05
done
exit 1
