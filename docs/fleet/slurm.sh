#!/bin/bash
#SBATCH --job-name=fleet-night
#SBATCH --array=1-64
#SBATCH --cpus-per-task=1
#SBATCH --mem=64M
#SBATCH --time=01:00:00
# A night of 1,000,000 routers, a part a task: sbatch slurm.sh; then tcctl fleet --merge part-*.json
# ROUTERS and PROFILE in the environment change it.
set -euo pipefail

part=$SLURM_ARRAY_TASK_ID
tcctl fleet --routers "${ROUTERS:-1000000}" --profile "${PROFILE:-night.profile}" --jobs 1 \
    --shard "$part/$SLURM_ARRAY_TASK_COUNT" --out "part-$part.new"
mv "part-$part.new" "part-$part.json" # a task that was ended early leaves no part that looks whole
