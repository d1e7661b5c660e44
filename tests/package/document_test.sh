# Does what a document says, in an empty folder.  DOCUMENT is read from top to bottom:
#
#   ```LANGUAGE FILE    the block goes to the end of FILE
#   ```sh               is run
#   ```text             is what the last commands have printed
#
# and blocks of C without a file, which nothing would compile, are an error.  LIBRARIES is where libvorn is installed, SOURCE the tree,
# which lies in the folder as vorn, CC the compiler that the document calls cc.
set -eu
document=$(realpath "$1")
export PKG_CONFIG_PATH="$LIBRARIES/pkgconfig" LD_LIBRARY_PATH="$LIBRARIES"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
mkdir bin
ln -s "$(command -v "$CC")" bin/cc
ln -s "$SOURCE" vorn
PATH=$scratch/bin:$PATH

fail() {
  echo "$document: $1" >&2
  exit 1
}

ran=0
while IFS= read -r line; do
  case $line in
    '```c' | '```cpp') fail "a block that is not compiled" ;;
    '```sh') block=commands ;;
    '```text') block=expected ;;
    '```'*' '*) block=${line#* } ;;
    '```'?*) block=other ;;
    *) continue ;;
  esac
  : >text
  while IFS= read -r line && [ "$line" != '```' ]; do
    printf '%s\n' "$line" >>text
  done
  case $block in
    commands)
      sh -eu ./text >printed 2>&1 || fail "$(cat text printed)"
      ran=$((ran + 1))
      ;;
    expected) diff -Z text printed || fail "prints something else" ;;
    other) ;;
    *) cat text >>"$block" ;;
  esac
done <"$document"
[ "$ran" -gt 0 ] || fail "no commands"
