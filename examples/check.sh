# check.sh KERNELS TEXT COMMAND...: the command succeeds and prints a line about its kernels, whose name matches the pattern, and
# then what stands in the file TEXT.
set -eu
pattern=$1 text=$2
shift 2
printed=$("$@")
case $printed in
  "kernels: "$pattern"
"*) ;;
  *) echo "other kernels than $pattern: $printed" >&2 && exit 1 ;;
esac
printf '%s\n' "${printed#*
}" | diff "$text" -
