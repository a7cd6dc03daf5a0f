#!/usr/bin/env bash
# A Slurm of one node, started and ended by this test: a job is killed, a part is cut, the node is
# drained. usage: slurm_test.sh COMMAND
source "$(dirname "$0")/common.sh"

user=$(id -un) node=$(hostname -s) port=$((30000 + RANDOM % 10000))
mkdir -p munge state spool
chmod 700 munge
dd if=/dev/urandom of=munge/key bs=128 count=1 status=none
chmod 600 munge/key
cat >slurm.conf <<END
ClusterName=test
SlurmctldHost=$node(127.0.0.1)
SlurmctldPort=$port
SlurmdPort=$((port + 1))
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$work/munge/socket
CredType=cred/munge
StateSaveLocation=$work/state
SlurmdSpoolDir=$work/spool
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/slurmctld.log
SlurmdLogFile=$work/slurmd.log
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
SchedulerType=sched/backfill
SchedulerParameters=sched_interval=1,bf_interval=1,batch_sched_delay=1,requeue_setup_env_fail
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
MinJobAge=300
NodeName=$node NodeAddr=127.0.0.1 CPUs=2 State=UNKNOWN
PartitionName=main Nodes=$node Default=YES MaxTime=INFINITE State=UP
END
export SLURM_CONF=$work/slurm.conf

daemons=()
stop() {
  scancel --user="$user" 2>/dev/null || true
  for ((i = ${#daemons[@]} - 1; i >= 0; --i)); do
    kill "${daemons[i]}" 2>/dev/null || true
    wait "${daemons[i]}" 2>/dev/null || true
  done
}
/usr/sbin/munged --foreground --force --key-file="$work/munge/key" --socket="$work/munge/socket" \
  --pid-file="$work/munge/pid" --log-file="$work/munge.log" --seed-file="$work/munge/seed" \
  >munged.log 2>&1 &
daemons+=($!)
await 20 test -S munge/socket
/usr/sbin/slurmctld -D >slurmctld.out.log 2>&1 &
daemons+=($!)
/usr/sbin/slurmd -D -N "$node" >slurmd.out.log 2>&1 &
daemons+=($!)
state_is() { [[ $(sinfo --noheader --format=%T 2>/dev/null) == $1 ]]; }
await 30 state_is idle

submit() { read -r array join < <("$recipes/with_slurm.sh" plan "$film" joined.avi "${coding[@]}"); }
state_of() { scontrol show job "$1" | grep -o 'JobState=[A-Z_]*' | sort -u | tr '\n' ' '; }
over() { ! squeue --noheader --format=%T | grep -q .; }
running() { squeue --noheader --array --job "$array" --states=RUNNING --format=%i; }
is_running() { [ -n "$(running)" ]; }
none_runs() { [ -z "$(running)" ]; }

# A job is killed: nothing is joined. A part is cut: the rerun codes both again.
submit
kill_one_job
await 60 over
[[ $(state_of "$array") == *FAILED* ]] || fail "a killed job is no failure"
[ ! -e joined.avi ] || fail "it was joined without the killed part"
cut_a_part "$(compgen -G 'part_?.avi' | head -n 1)"
submit
await 60 over
same_as_whole "a killed job and a cut part"

# The node is drained, and what runs goes back into the queue until it is there again.
rm -f part_*.avi* joined.avi
submit
await 30 being_coded
scontrol update nodename="$node" state=drain reason=test
for job in $(running); do scontrol requeue "$job"; done
await 30 none_runs
[ ! -e joined.avi ] || fail "joined though the node is drained"
[[ $(state_of "$array") == *PENDING* ]] || fail "nothing waits for the node"
scontrol update nodename="$node" state=resume
# Slurm lets what is requeued wait for two minutes.
over_without_delay() {
  for job in $(squeue --noheader --array --format='%i %r' | sed -n 's/ BeginTime$//p'); do
    scontrol update jobid="$job" StartTime=now
  done
  over
}
await 60 over_without_delay
same_as_whole "a drained node"
echo "Slurm: a killed job, a cut part, a drained node"
