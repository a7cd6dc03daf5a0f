#!/usr/bin/env bash
# GNU parallel, here and over ssh to two servers of this test: a job is killed, a part is cut, a
# machine goes away. usage: parallel_test.sh COMMAND
source "$(dirname "$0")/common.sh"

code() { "$recipes/with_parallel.sh" plan "$film" joined.avi "${coding[@]}"; }

# Without another try the killed job fails, and nothing is joined.
sed 's/--retries 3/--retries 1/' "$recipes/with_parallel.sh" >once.sh
cp "$recipes"/{part,join}.sh .
JOBS=2 bash once.sh plan "$film" joined.avi "${coding[@]}" >once.log 2>&1 &
kill_one_job
! wait $! || fail "a killed job is no failure"
[ ! -e joined.avi ] || fail "it was joined without the killed part"
cut_a_part "$(compgen -G 'part_?.avi' | head -n 1)"
JOBS=2 code >again.log 2>&1 || fail "the rerun"
same_as_whole "a killed job and a cut part"

# A killed job is tried again by itself.
rm -f part_*.avi* joined.avi
JOBS=2 code >retries.log 2>&1 &
kill_one_job
wait $! || fail "no other try"
same_as_whole "another try"

# Two machines, of which one goes away.
ssh-keygen -q -t ed25519 -N '' -f key
ssh-keygen -q -t ed25519 -N '' -f host_key
mkdir -p /run/sshd 2>/dev/null || true
cp key.pub authorized
chmod 600 authorized
start_sshd() {
  cat >"sshd_$1" <<END
Port $2
ListenAddress 127.0.0.1
HostKey $work/host_key
PidFile none
AuthorizedKeysFile $work/authorized
PasswordAuthentication no
UsePAM no
StrictModes no
MaxStartups 100
AcceptEnv *
END
  /usr/sbin/sshd -D -e -f "sshd_$1" 2>"sshd_$1.log" &
}
answers() { ssh -F ssh_config "$1" true 2>/dev/null; }
port=$((20000 + RANDOM % 10000))
for name in one two; do
  start_sshd $name $port
  declare "$name=$!"
  cat >>ssh_config <<END
Host $name
  HostName 127.0.0.1
  Port $port
END
  port=$((port + 1))
done
cat >>ssh_config <<END
Host *
  IdentityFile $work/key
  IdentitiesOnly yes
  StrictHostKeyChecking no
  UserKnownHostsFile /dev/null
  LogLevel ERROR
  BatchMode yes
END
stop() {
  for server in $one $two; do
    # What it serves is its children.
    pkill -KILL -P "$server" 2>/dev/null || true
    kill -KILL "$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
  done
}
await 20 answers one
await 20 answers two
rm -f part_*.avi* joined.avi
JOBS=1 HOSTS=one,two SSH="ssh -F $work/ssh_config" code >ssh.log 2>&1 &
run=$!
await 30 being_coded
pkill -KILL -P "$two" || true
kill -KILL "$two"
wait "$two" 2>/dev/null || true
wait $run || JOBS=1 HOSTS=one SSH="ssh -F $work/ssh_config" code >>ssh.log 2>&1 ||
  fail "the rerun without a machine"
same_as_whole "a machine that went away"
echo "GNU parallel: here and over ssh"
