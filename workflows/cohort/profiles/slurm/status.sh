#!/bin/sh
# What Snakemake asks of a job: running, success or failed. From the controller, which remembers jobs for some minutes, and
# from the accounts, where a site keeps them, after that. A failed one is sent again.
answer=$(LC_ALL=C scontrol --oneliner show job "$1" 2>&1)
case "$answer" in
  *" JobState="*) state=$(printf '%s\n' "$answer" | sed -n 's/.* JobState=\([A-Z_]*\).*/\1/p') ;;
  *"Invalid job id"*) # forgotten; a controller that was killed also forgets jobs of its last seconds
    state=$(sacct --noheader --parsable2 --allocations --format=State --jobs="$1" 2>/dev/null)
    [ "$state" = COMPLETED ] || state=FAILED ;;
  *) state= ;; # the controller is away
esac
case "$answer" in
  *" Reason=launch_failed_requeued_held "*) scancel "$1"; state=FAILED ;; # waits for nobody
esac
case "$state" in
  COMPLETED) echo success ;;
  BOOT_FAIL | CANCELLED | DEADLINE | FAILED | NODE_FAIL | OUT_OF_MEMORY | PREEMPTED | REVOKED | SPECIAL_EXIT | TIMEOUT) echo failed ;;
  *) echo running ;;
esac
