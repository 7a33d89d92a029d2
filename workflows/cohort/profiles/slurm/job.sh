#!/bin/sh
# properties = {properties}
# What Snakemake sends to the cluster: the scan as it is, since a Snakemake of the job's own takes a second to start. Where the
# environment does not come along it has to.
if [ -n "$MTH_COHORT_KEY" ]; then
  exec "$MTH_COHORT_PYTHON" "$MTH_COHORT_HOME/cohort/scan.py" "$MTH_COHORT_CONFIG" "$MTH_COHORT_KEY"
fi
{exec_job}
