# What the scripts that check something share. They include it with `. scripts/functions.sh`.
# shellcheck shell=sh
project=$PWD

# fail MESSAGE: ends the script.
fail() {
  echo "$1" >&2
  exit 1
}

# run COMMAND: shows what it prints only if it fails, and ends the script then.
run() {
  "$project/scripts/quietly" sh -ec "$1" || fail "failed: $1"
}
