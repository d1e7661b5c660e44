# Properties of the built libraries, read with nm, objdump and readelf:
#
#   exports LIBRARY HEADER [VERSION]
#                              exports the names that HEADER declares with VORN_API, and nothing else, all with this
#                              symbol version
#   services LIBRARY HEADER    calls only the functions of HEADER and a few functions of the C library
#   level LEVEL LIBRARY CONTRAST [PREFIX]
#                              has no instruction beyond the level, except in functions with the name prefix PREFIX;
#                              CONTRAST has one
#   needs LIBRARY              is linked against the C library alone
#   apart LEVEL OBJECT...      has nothing that the linker may merge with another level: weak symbols are in the namespace
#                              of the level
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
  # The version is a symbol too, an absolute one.
  "$NM" -D --defined-only "$1" | awk '$2 != "A" { print $NF }' | sort >"$scratch/exported"
  [ -z "${3:-}" ] || sed -i "s/\$/@@$3/" "$scratch/declared"
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

# Instructions beyond a level, with the level that they belong to and their function.  The encoding shows most of them: VEX
# begins with c4 or c5, EVEX with 62.  A line of a disassembly is an address, the bytes and the instruction.
beyond() { # LEVEL LIBRARY PREFIX
  "$OBJDUMP" -d "$2" | awk -F '\t' -v level="$1" -v prefix="$3" '
    BEGIN {
      count = split("generic sse42 avx avx2 avx512 vbmi none", names, " ")
      for (i = 1; i <= count; ++i) if (names[i] == level) last = i
    }
    /^[0-9a-f]+ <.*>:$/ { name = substr($0, index($0, "<") + 1); next }
    NF < 3 || (prefix != "" && name ~ "^_ZZ?NK?" prefix) { next }
    {
      sub(/^((26|2e|36|3e|64|65|67) )+/, "", $2)
      belongs = 1
      if ($3 ~ /^(popcnt|crc32|p?h(add|sub)|addsub|pabs|pshufb|psign|palignr|ptest|p(min|max)(s[bd]|u[wd])|pmuld|pmulld)/ ||
          $3 ~ /^(pmaddub|pmulhrs|pcmp(eq|gt)q|p(ins|ext)r[bdq]|pmov[sz]x|p?blend|packusdw|round|insertps|extractps)/)
        belongs = 2
      if ($2 ~ /^c[45] /)
        belongs = 3
      if (belongs == 3 && ($3 !~ /^v/ || $3 ~ /^vfn?m|^vcvtph2|^vcvtps2ph|^v(inserti|extracti|broadcasti)/ ||
                           $3 ~ /^vp?(gather|broadcast[bwdq]|maskmov[dq]|blendd|s[lr][la]v)|^vbroadcasts[sd] +%xmm/ ||
                           ($3 ~ /^vp.*%ymm/ && $3 !~ /^vp(test|ermilp|erm2f)/)) || $3 ~ /^(lzcnt|movbe)/)
        belongs = 4
      if ($2 ~ /^62 / || $3 ~ /^k/)
        belongs = 5
      if ($3 ~ /^vp(ermb|erm[it]2b|multishift|(compress|expand)[bw]|sh[lr]d|popcnt|shufbit)/)
        belongs = 6
      if ($3 ~ /^v?(aes|pclmul|gf2p8)|^vpdp|^vpmadd52|^sha|^ad[co]x/)
        belongs = 7
      if (belongs > last) print names[belongs], name, $3
    }'
}

level() {
  beyond "$1" "$2" "${4:-}" >"$scratch/found"
  [ ! -s "$scratch/found" ] || fail "$2 has instructions beyond $1: $(sort -u "$scratch/found" | head -5)"
  case $1 in generic) next=sse42 ;; sse42) next=avx ;; avx) next=avx2 ;; avx2) next=avx512 ;; avx512) next=vbmi ;; esac
  beyond "$1" "$3" "" | grep -q "^$next " || fail "no instruction of $next found in $3 either"
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
