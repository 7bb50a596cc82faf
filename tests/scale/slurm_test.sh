#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-2-Clause
#
# slurm_test.sh PROGRAM SCRIPT: lumagauge-slurm on a Slurm of two nodes, which it starts on this host
# in a temporary folder and ends. Status 77 where there is no Slurm or the system does not let it run.
set -euo pipefail
program=$(realpath "$1") script=$(realpath "$2")
folder=$(mktemp -d)
declare -A daemons=()

# Processes of this Slurm, whoever became their parent: of node $1, or all.
processes() {
  local found
  while read -r found; do
    [[ -z ${1-} ]] || grep -qzsxF "SLURMD_NODENAME=$1" "$found" || continue
    basename "$(dirname "$found")"
  done < <(grep -lzsxF "SLURM_CONF=$folder/slurm.conf" /proc/[0-9]*/environ)
}

clean_up() {
  local status=$? left=()
  scancel --user="$(id -un)" 2>/dev/null || true
  kill -KILL "${daemons[@]}" 2>/dev/null || true
  mapfile -t left < <(processes)
  ((${#left[@]} == 0)) || kill -KILL "${left[@]}" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$folder"
  exit "$status"
}
trap clean_up EXIT

skip() {
  echo "SKIPPED: $*"
  tail -n 3 "$folder"/log/* 2>/dev/null || true
  exit 77
}
wrong() {
  echo "WRONG: $*" >&2
  tail -n 30 "$folder"/out/slurm/*.log "$folder"/wait.* >&2 || true
  exit 1
}
# until_true SECONDS COMMAND...
until_true() {
  local tries=$(($1 * 5))
  shift
  while ! "$@" >/dev/null 2>&1; do
    ((tries-- > 0)) || return 1
    sleep 0.2
  done
}

start_daemon() {
  local name=$1
  shift
  "$@" >"$folder/log/$name.out" 2>&1 &
  daemons[$name]=$!
}

start_slurm() {
  local tool user host port=$((20000 + $$ % 10000 * 4))
  for tool in munged slurmctld slurmd sbatch; do
    PATH+=:/usr/sbin command -v "$tool" >/dev/null || skip "$tool is not there (script/setup test installs it)"
  done
  PATH+=:/usr/sbin user=$(id -un) host=$(hostname -s)
  mkdir -m 700 "$folder/munge"
  mkdir "$folder/state" "$folder/log"
  (umask 077 && head -c 1024 /dev/urandom >"$folder/munge/key")
  chmod 755 "$folder"
  cat >"$folder/slurm.conf" <<CONF
ClusterName=test
SlurmctldHost=$host(127.0.0.1)
SlurmUser=$user
SlurmdUser=$user
AuthType=auth/munge
AuthInfo=socket=$folder/munge/socket
CryptoType=crypto/munge
StateSaveLocation=$folder/state
SlurmdSpoolDir=$folder/spool-%n
SlurmctldPidFile=$folder/slurmctld.pid
SlurmdPidFile=$folder/slurmd-%n.pid
SlurmctldLogFile=$folder/log/slurmctld
SlurmdLogFile=$folder/log/slurmd-%n
SlurmctldPort=$port
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_CPU
ReturnToService=2
NodeName=n1 NodeHostname=$host NodeAddr=127.0.0.1 Port=$((port + 1)) CPUs=2 RealMemory=4000
NodeName=n2 NodeHostname=$host NodeAddr=127.0.0.1 Port=$((port + 2)) CPUs=2 RealMemory=4000
PartitionName=all Nodes=n1,n2 Default=YES State=UP
CONF
  export SLURM_CONF=$folder/slurm.conf
  start_daemon munged munged --foreground --force --key-file="$folder/munge/key" \
    --socket="$folder/munge/socket" --pid-file="$folder/munge/pid" \
    --seed-file="$folder/munge/seed" --log-file="$folder/log/munged"
  until_true 5 test -S "$folder/munge/socket" || skip "munged does not start"
  start_daemon slurmctld slurmctld -D
  until_true 10 scontrol ping || skip "slurmctld does not start"
  for host in n1 n2; do
    start_daemon "$host" slurmd -D -N "$host"
  done
  until_true 20 nodes_are_idle || skip "the nodes of Slurm do not come up"
}
nodes_are_idle() { [[ $(sinfo --noheader --states=idle --format=%D) == 2 ]]; }

# Slurm makes what it requeues wait for two minutes.
hurry_requeued() {
  local job
  while sleep 0.5; do
    for job in $(squeue --noheader --array --states=PD --format='%i %r' | sed -n 's/ BeginTime$//p'); do
      scontrol update JobId="$job" StartTime=now || true
    done
  done
}

# The program, but that the first tries of the parts that are to be killed stop in the middle, however
# busy this host is.
make_holding_program() {
  cat >"$folder/lumagauge-qc" <<PROGRAM
#!/usr/bin/env bash
held=$folder/held-\${SLURM_ARRAY_TASK_ID-}
if [[ -e \$held ]] && mv "\$held" "\$held-once" 2>/dev/null; then
  exec timeout --foreground --signal=STOP 0.3 "$program" "\$@"
fi
exec "$program" "\$@"
PROGRAM
  chmod 755 "$folder/lumagauge-qc"
}
# Processes of the part $1, and whether the program among them has stopped.
processes_of_part() {
  local process
  for process in $(processes); do
    ! grep -qzsxF "SLURM_ARRAY_TASK_ID=$1" "/proc/$process/environ" || echo "$process"
  done
}
# Those that watch over the processes and tell Slurm of their end; they hide their environment.
watchers_of() {
  local process parent
  for process; do
    parent=$(sed -n 's/^PPid:[[:space:]]*//p' "/proc/$process/status" 2>/dev/null) || continue
    [[ $(cat "/proc/$parent/comm" 2>/dev/null) != slurmstepd ]] || echo "$parent"
  done
}
is_stopped() {
  local process
  for process in $(processes_of_part "$1"); do
    ! grep -qs '^State:[[:space:]]*T' "/proc/$process/status" || return 0
  done
  return 1
}

start_slurm
make_holding_program
export LUMAGAUGE_QC=$folder/lumagauge-qc LUMAGAUGE_POLL=1
options=(--raw --size 176x144 --no-frames --indicators 0xffff --threads 1 --decode-threads 1)
cd "$folder"
mkdir in
for name in a b c d e; do
  head -c 1900800 /dev/urandom >"in/$name"$'\n.yuv'
done
truncate -s 380160000 in/long.yuv in/killed.yuv # 10,000 frames, some seconds
truncate -s 380160 in/vanishes.yuv
"$program" --plan all.plan --parts 4 --raw --size 176x144 --recursive in >/dev/null
long_part=$(sed -n 's/.*"part":\([0-9]*\),"name":"long.*/\1/p' all.plan)
killed_part=$(sed -n 's/.*"part":\([0-9]*\),"name":"killed.*/\1/p' all.plan)
broken_part=$(sed -n 's/.*"part":\([0-9]*\),"name":"vanishes.*/\1/p' all.plan)
rm in/vanishes.yuv
# The least of those that are neither killed nor fail.
ended_part=$(printf '%s\n' {1..4} | grep -vxm 1 -e "$long_part" -e "$killed_part" -e "$broken_part")
ended=$(sed -n "s/.*\"part\":$ended_part,\"name\":\"\(.\).*/\1/p" all.plan | head -n 1)
again=$(printf '%s\n' "$broken_part" "$ended_part" | sort -n | paste -sd ,)
touch "held-$long_part" "held-$killed_part"

"$script" all.plan -o out --cpus 1 --retries 1 --wait -- "${options[@]}" >wait.out 2>wait.err &
waiting=$!
hurry_requeued 2>/dev/null &
daemons[hurry]=$!

# The script of a part dies with what it has started, but not its node.
until_true 60 is_stopped "$killed_part" || wrong "part $killed_part did not begin"
mapfile -t doomed < <(processes_of_part "$killed_part")
kill -KILL "${doomed[@]}"

# The node that measures the long input dies in the middle of it.
until_true 60 is_stopped "$long_part" || wrong "part $long_part did not begin"
node=$(sed -n "s/^== part $long_part on \(n[12]\), try 1/\1/p" out/slurm/*_"$long_part".log)
mapfile -t doomed < <(processes "$node")
mapfile -t -O "${#doomed[@]}" doomed < <(watchers_of "${doomed[@]}")
doomed+=("${daemons[$node]}")
kill -STOP "${doomed[@]}" # all at once, as by a power cut: none tells of another's death
kill -KILL "${doomed[@]}"
scontrol update NodeName="$node" State=DOWN Reason="killed" # what Slurm finds after a timeout
[[ ! -e $(echo out/long.yuv-*.json) ]] || wrong "the long input was measured before its node was killed"

# A result is lost of a part that has ended.
until_true 60 grep -q "^== part $ended_part ended\$" out/slurm/*_"$ended_part".log || wrong "part $ended_part did not end"
mkdir lost
mv out/"$ended"*.csv lost

status=0
wait "$waiting" || status=$?
[[ $status == 2 ]] || wrong "status $status of a batch with an input that cannot be measured"
grep -q "^unmeasured .*/in/vanishes.yuv .*No such file" wait.out || wrong "the lost input is not named"
grep -q "^parts to measure again: $again\$" wait.out || wrong "the parts without results are not named"
grep -q "^parts whose scripts were killed: $killed_part; they" wait.out || wrong "the part of the killed script was not submitted again"
grep -q "try 2" out/slurm/*_"$long_part".log || wrong "the part of the killed node was not put back"
grep -q "given up" out/slurm/*_"$broken_part".log || wrong "the failing part was not given up"

# All others as by one run, and each once.
mv lost/* out
"$program" -o one --quiet "${options[@]}" --recursive "$folder/in" >/dev/null
for result in one/*.csv one/*.json; do
  name=${result#one/} ending=${result##*.}
  [[ $name != summary.csv ]] || continue
  same=("out/${name%."$ending"}-"*."$ending")
  [[ ${#same[@]} == 1 ]] || wrong "$name is there ${#same[@]} times"
  cmp "$result" "${same[0]}" || wrong "$name is another than that of one run"
done
count=$(find out -maxdepth 1 -type f ! -name '*.part' -printf x | wc -c) # a kill may leave such ones
# Two files each of seven inputs, one of what failed, summary.csv and library.sqlite.
[[ $count == 17 ]] || wrong "$count files are in the folder of the results: $(ls out)"

# The first job that collects is put back, as when its node died after it had submitted the killed part.
job=$(sed -n 's/^collecting: job //p' wait.out | head -n 1)
mv out/killed*.csv lost
said=$(grep job "out/slurm/$job.log")
scontrol requeue "$job"
was_put_back() { [[ $(scontrol --oneliner show job "$job") =~ JobState=FAILED.*Restarts=1 ]]; }
until_true 60 was_put_back || wrong "collecting did not start again"
[[ $(grep job "out/slurm/$job.log") == "$said" ]] || wrong "the killed part was submitted twice"
echo "a node and a script were killed and a part given up in $SECONDS s"
