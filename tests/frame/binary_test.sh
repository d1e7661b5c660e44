# Properties of the built libraries, read with nm, objdump and readelf:
#
#   exports LIBRARY HEADER     exports the names that HEADER declares with VORN_API, and nothing else
#   services LIBRARY HEADER    takes from outside the functions of HEADER and the few of the C library below
#   baseline LIBRARY CONTRAST  has no instruction beyond x86-64, as CONTRAST has
#   needs LIBRARY              is linked against the C library alone
#   apart LEVEL OBJECT...      has nothing that the linker may merge with another level's: what is weak lies in the level's
#                              namespace
#
# NM, OBJDUMP and READELF name the tools.
set -eu
export LC_ALL=C
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

fail() {
  echo "$1" >&2
  exit 1
}

# A declaration begins a line; the name stands before the parenthesis of a function, the bracket or semicolon of data.
declared_in() {
  sed -n -e 's/^VORN_API [^(]*[ *]\([a-z0-9_]*\)(.*/\1/p' \
    -e 's/^extern VORN_API [^[;]*[ *]\([a-z0-9_]*\)[[;].*/\1/p' "$1" | sort
}

exports() {
  declared_in "$2" >"$scratch/declared"
  [ "$(wc -l <"$scratch/declared")" -eq "$(grep -c '^VORN_API\|^extern VORN_API' "$2")" ] ||
    fail "not every declaration of $2 was understood"
  "$NM" -D --defined-only "$1" | awk '{ print $NF }' | sort >"$scratch/exported"
  diff "$scratch/declared" "$scratch/exported" || fail "$1 does not export what $2 declares"
}

services() {
  case $1 in
    *.a) "$NM" "$1" >"$scratch/symbols" ;;
    *) "$NM" -D "$1" >"$scratch/symbols" ;;
  esac
  awk 'NF == 3 { print $3 }' "$scratch/symbols" | sort -u >"$scratch/defined"
  awk '$1 == "U" { sub(/@.*/, "", $2); print $2 }' "$scratch/symbols" | sort -u >"$scratch/undefined"
  {
    declared_in "$2"
    cat "$scratch/defined"
    printf '%s\n' _GLOBAL_OFFSET_TABLE_ __assert_fail __popcountdi2 __stack_chk_fail \
      memcmp memcpy memmove memset printf putchar puts strchr strcmp
  } | sort -u >"$scratch/allowed"
  comm -23 "$scratch/undefined" "$scratch/allowed" >"$scratch/excess"
  [ ! -s "$scratch/excess" ] || fail "$1 needs more than its host gives: $(tr '\n' ' ' <"$scratch/excess")"
  grep -q host_raise_internal_error "$scratch/undefined" || fail "$1 does not report to its host"
}

# Instructions on wide registers, VEX-coded ones on narrow registers, and those of the later levels on plain registers.
# A line of a disassembly is an address, a tab and the instruction, which may have tabs in it.
extended_instructions() {
  "$OBJDUMP" -d --no-show-raw-insn "$1" | sed -n -e 's/^ *[0-9a-f]*:[[:space:]]*//' -e 's/[[:space:]][[:space:]]*/ /gp' |
    grep -E -e '%[yz]mm' -e '^v[a-z0-9]+ .*%xmm' \
      -e '^(popcnt|crc32|pshufb|palignr|ptest|p(min|max)(s[bd]|u[wd])|pmuld|pmulld|p(ins|ext)r[bdq]|pmov[sz]x|pblend)' \
      -e '^(andn|pext|mulx|rorx)[lq]? ' -e '^(bzhi|pdep|sarx|shlx|shrx)' || :
}

baseline() {
  extended_instructions "$1" >"$scratch/found"
  [ ! -s "$scratch/found" ] || fail "$1 has instructions beyond x86-64: $(sort -u "$scratch/found" | head -5)"
  extended_instructions "$2" | grep -q xmm || fail "no wide instruction found in $2 either"
  extended_instructions "$2" | grep -q popcnt || fail "no popcnt found in $2 either"
}

needs() {
  "$READELF" -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v -x -e 'libc\.so\.6' -e 'libgcc_s\.so\.1' \
    >"$scratch/needed" || :
  [ ! -s "$scratch/needed" ] || fail "$1 needs $(tr '\n' ' ' <"$scratch/needed")"
}

apart() {
  namespace=4vorn${#1}$1
  shift
  "$NM" "$@" | awk '$2 ~ /^[VWu]$/ { print $3 }' | sort -u >"$scratch/weak"
  [ -s "$scratch/weak" ] || fail "no weak symbol in $*"
  ! grep -v "$namespace" "$scratch/weak" || fail "weak symbols outside the namespace of the level"
}

"$@"
