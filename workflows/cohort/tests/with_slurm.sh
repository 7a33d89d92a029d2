#!/usr/bin/env bash
# Runs a command beside a Slurm of its own: munged, slurmctld and slurmd with configuration, state and ports of their own on
# the loopback address, taken down again at the end. As root, which slurmd needs.
#   with_slurm.sh COMMAND...
set -euo pipefail
for program in munged slurmctld slurmd sbatch; do
  command -v "$program" >/dev/null || { echo "Left out: the cluster (needs slurm-wlm and munge)"; exit 77; }
done
[ "$(id -u)" -eq 0 ] || { echo "Left out: the cluster (slurmd needs root)"; exit 77; }

place=$(mktemp -d /tmp/mth-slurm.XXXXXX)
finish() {
  local name pid
  for name in slurmd slurmctld munged; do
    pid=$(cat "$place/$name.pid" 2>/dev/null) || continue
    kill "$pid" 2>/dev/null
    while kill -0 "$pid" 2>/dev/null; do sleep 0.1; done
  done
  rm -rf "$place"
}
trap finish EXIT

# Two ports that nobody has.
read -r controller daemon < <(python3 -c '
import socket
sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(2)]
print(*(s.getsockname()[1] for s in sockets))')

chmod 755 "$place"
mkdir "$place/munge" "$place/spool"
chmod 711 "$place/munge"
head -c 1024 /dev/urandom >"$place/munge/key"
chmod 400 "$place/munge/key"
munged --force --key-file="$place/munge/key" --socket="$place/munge/socket" --pid-file="$place/munged.pid" \
  --log-file="$place/munge/log" --seed-file="$place/munge/seed"

host=$(hostname -s)
cat >"$place/slurm.conf" <<CONF
ClusterName=mth
SlurmctldHost=$host(127.0.0.1)
SlurmctldPort=$controller
SlurmdPort=$daemon
SlurmUser=root
AuthType=auth/munge
AuthInfo=socket=$place/munge/socket
CryptoType=crypto/munge
StateSaveLocation=$place/spool
SlurmdSpoolDir=$place/spool/slurmd
SlurmctldPidFile=$place/slurmctld.pid
SlurmdPidFile=$place/slurmd.pid
SlurmctldLogFile=$place/slurmctld.log
SlurmdLogFile=$place/slurmd.log
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
MpiDefault=none
NodeName=$host NodeAddr=127.0.0.1 CPUs=$(nproc) RealMemory=4000 State=UNKNOWN
PartitionName=all Nodes=$host Default=YES MaxTime=INFINITE State=UP
CONF
export SLURM_CONF="$place/slurm.conf"
slurmctld
slurmd
for _ in $(seq 300); do
  sinfo --noheader --format=%T 2>/dev/null | grep -q idle && break
  sleep 0.2
done
sinfo --noheader --format=%T | grep -q idle || { cat "$place"/*.log >&2; exit 1; }
"$@"
