# What the tests of schedulers share: a folder that is gone with the test, a film and its plan, and
# how a part is killed or cut.
set -euo pipefail
TKMJPG=$(realpath "$1")
recipes=$(cd "$(dirname "$0")/../../scripts/cluster" && pwd)
export TKMJPG
work=$(mktemp -d)
cd "$work"
film=testcard:640x480@25:120
coding=(--bitrate 6M --rate-window 20)

stop() { :; }  # what a test has started
trap 'stop; rm -rf "$work"' EXIT
# Until nothing more goes wrong the output of what went wrong is the reason.
fail() {
  echo "FAILED: $*" >&2
  tail -n 20 ./*.log >&2 || true
  exit 1
}

# await SECONDS COMMAND...: until it succeeds.
await() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || fail "in vain: $*"
    sleep 0.05
  done
}

being_coded() { compgen -G "part_*.avi.*.part" >/dev/null; }
# The process has its number in the name of the unfinished file.
kill_one_job() {
  await 30 being_coded
  local unfinished
  unfinished=$(compgen -G "part_*.avi.*.part" | head -n 1)
  unfinished=${unfinished%.part}
  kill -KILL "${unfinished##*.}" || fail "it was done before it was killed"
}
cut_a_part() { truncate --size=-20000 "$1"; }
md5() { "$TKMJPG" md5 "$1"; }
same_as_whole() { cmp whole.avi joined.avi || fail "$1: the joined film is another one"; }

"$TKMJPG" encode -q "$film" whole.avi "${coding[@]}"
"$TKMJPG" split-plan "$film" --parts 6 --rate-window 20 --name part_%d.avi >plan
[ "$(wc -l <plan)" -eq 6 ] || fail "no plan of six parts"
