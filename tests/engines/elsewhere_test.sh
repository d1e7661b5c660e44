# Runs the tests of a library's engines on a processor of its level, whatever this one is:
#
#   TEST LIBRARY                on this processor, or on the one that VORN_EMULATOR brings
#   TEST LIBRARY qemu MODEL     on a model of qemu's
#   TEST LIBRARY model MODEL    on a model of VORN_EMULATOR's
#
# VORN_EMULATOR is a program, with options of its own if need be, that runs its arguments on an emulated processor where the
# real one would not do: [--cpu MODEL] [--file FILE]... [--env NAME=VALUE]... PROGRAM [ARGUMENT]..., where files go along.
# VORN_TEST_LIBRARIES is the folder of the library where that is not the folder of TEST.
# Emulated processors are slow, so fewer cases are drawn, and the model decides which level of the library runs.  A real processor
# also runs the AVX-512 library without VBMI.  Ends with 77 where no such processor is at hand.
set -eu
test=$1 library=$2 kind=${3:-} model=${4:-}
folder=${VORN_TEST_LIBRARIES:-$(dirname "$test")}
filter="--gtest_filter=*/$library"

case $kind in
  qemu)
    command -v qemu-x86_64 >/dev/null || exit 77
    # qemu 7.2 takes ymm4 as no index in a gather, so translation by gathers is left out.
    filter="$filter:-*translation*"
    set -- env VORN_TEST_ONE_IN=40 qemu-x86_64 -cpu "$model" "$test"
    ;;
  *)
    if [ -n "${VORN_EMULATOR:-}" ]; then
      # An emulator may refuse a gather whose index is in zmm16 to zmm31.  Only clang makes such gathers, of sets.
      [ -z "${VORN_TEST_LIBRARIES:-}" ] || filter="$filter:-*sets*"
      # shellcheck disable=SC2086 # it has options
      set -- $VORN_EMULATOR ${model:+--cpu "$model"} --file "$folder/$library.so" \
        ${VORN_TEST_LIBRARIES:+--env "VORN_TEST_LIBRARIES=$VORN_TEST_LIBRARIES"} --env VORN_TEST_ONE_IN=40 "$test"
    elif [ -z "$model" ]; then
      filter="$filter:*/${library}_without_vbmi"
      set -- "$test"
    else
      exit 77
    fi
    ;;
esac

status=0
output=$("$@" "$filter" 2>&1) || status=$?
echo "$output"
case $output in
  *"SKIPPED"*) [ -z "$kind${VORN_EMULATOR:-}" ] && exit 77 || exit 1 ;;
  *"PASSED  ] 0 tests"*) exit 1 ;;
esac
exit $status
