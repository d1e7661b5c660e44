# Each message of the entry points and of start-up, a text of several words, is in a row of the tables of docs/entry-points.md,
# and each row has a message of theirs or of a kernel.  The argument is the root of the tree.
set -eu
export LC_ALL=C
cd "$1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

grep -ho '"[A-Za-z][^"%]* [^"%]*"' entry/*/*.cpp generic/expr/groupkey.cpp frame/start_up.cpp | grep -v -e res_generic_bv -e "temp column info" | tr -d '"' |
  sort -u >"$scratch/reported"
sed -n '/^### Fatal/q; s/^| `\([^`]* [^`]*\)` |.*/\1/p' docs/entry-points.md | grep -v '^KERNEL' | sort >"$scratch/listed"
[ "$(wc -l <"$scratch/reported")" -gt 50 ] || { echo "too few messages were found" >&2; exit 1; }
diff "$scratch/reported" "$scratch/listed"

# The header has each message without the name of its entry point.
sed -e 's/^[a-z_]*\( generic\)\{0,1\}: //' -e 's/src1 & src[23] //' -e 's/src3 is/src2 is/' -e 's/VORN_[A-Z_]* is/... is/' "$scratch/reported" |
  while IFS= read -r message; do
    grep -Fq "$message" frame/vorn.h || { echo "frame/vorn.h lacks '$message'" >&2; exit 1; }
  done
