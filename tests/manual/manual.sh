#!/usr/bin/env bash
# The manual pages and the completion of shells, in man and in real shells, beside what the command
# says of itself.
# usage: manual.sh COMMAND SHARE VERSION, where SHARE has man/, bash-completion/, zsh/ and fish/
set -euo pipefail
command=$1 share=$2 version=$3
folder=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"  # an empty folder: no names of files are completed
failures=0

fail() {
  echo "failed: $*" >&2
  failures=$((failures + 1))
}

subcommands() { "$command" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z0-9]*\) .*/\1/p'; }
# Long options of a subcommand, as its help lists them, and the one that all have.
options() {
  { "$command" "$1" --help | sed '/^$/,$ { /^Options:/,/^$/!d }' | grep -oE '^  (-[^ ]+)'; echo --cpu; } |
    grep -oE -- '--[a-z0-9-]+' | sort -u
}

in_bash() {
  bash --norc -c 'compopt() { :; }; source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
    _tkmjpg; printf "%s\n" "${COMPREPLY[@]}"' - "$share/bash-completion/completions/tkmjpg" "$@"
}
in_fish() {
  local line=$*
  fish --no-config -c "source $share/fish/vendor_completions.d/tkmjpg.fish; complete -C '$line'" |
    cut -f1
}
in_zsh() { zsh -f "$folder/complete.zsh" "$share/zsh/vendor-completions" "$*" | tr -d '\r'; }

# Every page formats without a complaint.
pages=$(find "$share/man" -name '*.[135]')
for page in $pages; do
  complaints=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z "$page" 2>&1)
  [ -z "$complaints" ] || fail "$page: $complaints"
  grep -q "tkmjpg $version" "$page" || fail "$page: no version"
done

# Every option is in the page of its subcommand and offered by every shell.
for subcommand in $(subcommands); do
  page=$(MANWIDTH=200 man -l "$share/man/man1/tkmjpg-$subcommand.1" | col -b)
  bash_offers=$(in_bash tkmjpg "$subcommand" --) fish_offers=$(in_fish tkmjpg "$subcommand" --)
  zsh_offers=$(in_zsh tkmjpg "$subcommand" --)
  count=0
  for option in $(options "$subcommand"); do
    count=$((count + 1))
    [ "$option" = --cpu ] || grep -qE -- "$option\b" <<<"$page" || fail "$subcommand: page: $option"
    grep -qx -- "$option" <<<"$bash_offers" || fail "$subcommand: bash: $option"
    grep -qx -- "$option" <<<"$fish_offers" || fail "$subcommand: fish: $option"
    grep -qE -- "(^| )$option( |$)" <<<"$zsh_offers" || fail "$subcommand: zsh: $option"
  done
  [ "$count" -ge 2 ] || fail "$subcommand: the help lists no options"
  [ "$(sort -u <<<"$bash_offers" | wc -l)" -le $((count + 3)) ] ||
    fail "$subcommand: bash offers more than the help"
done

# line | what bash and fish offer | the line that zsh completes it to
cases='tkmjpg enc|encode|tkmjpg encode
tkmjpg encode --fields b|bottom|tkmjpg encode --fields bottom
tkmjpg info --cpu pl|plain|tkmjpg info --cpu plain
tkmjpg decode --lay|--layout|tkmjpg decode --layout'
while IFS='|' read -r line offered completed; do
  read -ra words <<<"$line"
  [ "$(in_bash "${words[@]}")" = "$offered" ] || fail "bash: $line"
  [ "$(in_fish "$line")" = "$offered" ] || fail "fish: $line"
  in_zsh "$line" | grep -qE "<$completed ?>" || fail "zsh: $line"
done <<<"$cases"
[ -z "$(in_bash tkmjpg encode --quality 7)" ] || fail "bash: offers something for a number"

# The page of the library names all that the header defines.
for name in $(grep -oE '\bTKMJPG_[A-Za-z0-9_]+ =|\b(Com|Decom)pressBuffer_MJPG' \
  "$folder/../../include/tkmjpg.h" | tr -d ' =' | sort -u); do
  grep -q "$name" "$share/man/man3/tkmjpg.3" || fail "tkmjpg.3: $name"
done

# The bits in the page of the profile are those that the driver stores.
export XDG_CONFIG_HOME=$work
rows=0
while read -r bit setting value; do
  rows=$((rows + 1))
  other=off
  [ "${value:-on}" = on ] || other=on
  "$command" configure --set "$setting=$other" >/dev/null
  off=$(sed -n 's/^MJPG_CF_Flags=//p' "$work/tkmjpg/profile.ini")
  "$command" configure --set "$setting=${value:-on}" >/dev/null
  on=$(sed -n 's/^MJPG_CF_Flags=//p' "$work/tkmjpg/profile.ini")
  [ $((on - off)) -eq $((bit)) ] || fail "tkmjpg.5: $setting is $((on - off)), not $bit"
done < <(grep -E '^0x[0-9A-F]{8}  ' "$share/man/man5/tkmjpg.5")
[ "$rows" -eq "$("$command" configure --show | grep -c ' o[nf]')" ] || fail "tkmjpg.5: $rows settings"

[ "$failures" -eq 0 ]
