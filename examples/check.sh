# check.sh KERNELS TEXT COMMAND...: the command succeeds and prints a line about its kernels, whose name matches the pattern, and
# then the text of the file TEXT.  Ends with 77 when the command needs an emulator that is not installed.
set -eu
pattern=$1 text=$2
shift 2
if [ "$1" = qemu-x86_64 ] && ! command -v "$1" >/dev/null; then
  echo "qemu-x86_64 is missing (Debian: qemu-user)"
  exit 77
fi
printed=$("$@")
case $printed in
  "kernels: "$pattern"
"*) ;;
  *) echo "other kernels than $pattern: $printed" >&2 && exit 1 ;;
esac
printf '%s\n' "${printed#*
}" | diff "$text" -
