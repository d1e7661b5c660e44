// Benchmarks of the filled slots of the dispatch table and of the bit vectors, for every implementation that this
// processor can run.
//
//   in_cache      65,536 rows, again and again
//   out_of_cache  a stream of 256 MB
//   selectivity   65,536 rows of which 1, 50 or 99 percent match
//   rows          10,000 to 100,000,000 rows, of streams of up to 256 MB
//   twin          65,536 rows of which a filter keeps 1, 10 or 50 percent
//   runs_of       bursts over 65,536 rows in runs of about 4, 20 or 100, half of them selected
//   range, filter, list
//                 unpackers over all of 65,536 rows, or 1, 10 or 50 percent; also over runs of 20
//   one_length, offsets
//                 decoders of a list of about 32,768 rows, or of 65,536 elements, in both layouts of a dictionary
//   values, described
//                 prefix decode of 65,536 values of 8 bytes, without and with descriptors
//   combine       AND of 2 or 3 vectors of 65,536 bits, apart or in place, without or with a count
//   ones, iter    lists of and steps over the ones of 65,536 bits, of which 1, 50 or 99 percent are set
//   popcnt        count of the ones of 65,536 bits
//   build, probe  tables of 256 KB, 16 MB and 1 GB, half of their slots filled; half of the probed rows match
//   partition     1,048,576 rows to 16 or 256 partitions
//   gather        65,536 values of 1 to 15 bytes out of 1,048,576, by identifiers of 1 to 8 bytes, pairs, or references
//   transpose     65,536 rows of four columns: references, then records or values by offsets or entries
//   bloom         maps of 32 KB to 64 MB, all of 1,048,576 rows or 10 percent by a filter
//   hash          65,536 values of 8 bytes, by a function that does next to nothing
//   translate     65,536 keys, half of which have an entry, by tables of 4,096 to 4,194,304 entries
//   group_key     one to four columns of 65,536 codes of 8 bits
//   sum           65,536 numbers, without keys or by keys of 1 to 1,048,576 groups
//   arith, convert
//                 65,536 numbers
//   point_in_polygon
//                 a ring of 65,536 vertices
//   call          whole calls of an entry point, for few rows
//
// Grows/s is 10^9 rows a second.  of_read compares with a plain read of the same bytes, timed in turn with the kernel
// within the run: 1 means as fast as reading; of_touch with a read of one byte of each bucket, value or byte of a map
// that the kernel has to look at, a copy of the records of a partitioning, or the bare calls of the hash function.
// cycles/64 is what 64 rows take, by a clock that is measured at the start of each benchmark.  Pin the process to a
// core; --benchmark_out=FILE writes JSON.  The placeholder kernels, which do nothing, are left out.
#include <benchmark/benchmark.h>

#include "bench/kernels.hpp"
#include "bench/report.hpp"

int main(int argc, char **argv) {
  const auto found = vorn_bench::implementations();
  vorn_bench::add_scans(found);
  vorn_bench::add_decoders(found);
  vorn_bench::add_bit_vectors(found);
  vorn_bench::add_joins(found);
  vorn_bench::add_expressions(found);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 2;
  std::vector<std::string> names;
  names.reserve(found.size());
  for (const vorn_bench::implementation &which : found)
    names.push_back(which.name);
  vorn_bench::reporter reporter(names);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
