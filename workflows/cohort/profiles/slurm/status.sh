#!/bin/sh
# What Snakemake asks of a job: running, success or failed. From the controller, which remembers jobs for some minutes, and
# from the accounts, where a site keeps them, after that.
state=$(scontrol --oneliner show job "$1" 2>/dev/null | sed -n 's/.* JobState=\([A-Z_]*\).*/\1/p')
[ -n "$state" ] || state=$(sacct --noheader --parsable2 --allocations --format=State --jobs="$1" 2>/dev/null | sed 's/ .*//')
case "$state" in
  COMPLETED) echo success ;;
  PENDING | CONFIGURING | RUNNING | COMPLETING | SUSPENDED | REQUEUED | "") echo running ;;
  *) echo failed ;;
esac
