// Benchmarks of the filled slots of the dispatch table, of the other kernels and of the bit vectors, for every
// implementation that this processor can run.
//
//   in_cache      65,536 rows, repeatedly
//   out_of_cache  a stream of 256 MB
//   selectivity   65,536 rows; 1, 50 or 99 percent match
//   rows          10,000 to 100,000,000 rows, in streams of up to 256 MB
//   twin          65,536 rows; a filter selects 1, 10 or 50 percent
//   runs_of       bursts over 65,536 rows in runs of about 4, 20 or 100 rows; half of the runs are selected
//   range, filter, list
//                 unpackers of all of 65,536 rows, or of 1, 10 or 50 percent; also over runs of 20 rows
//   one_length, offsets
//                 decoders of a list of about 32,768 rows, or of 65,536 elements, for both layouts of a dictionary
//   values, described
//                 prefix decode of 65,536 values of 8 bytes, without and with descriptors
//   combine       AND of 2 or 3 vectors of 65,536 bits, into another vector or in place, without or with a count
//   ones, iter    a list of the ones of 65,536 bits, or single steps; 1, 50 or 99 percent are ones
//   popcnt        the number of ones of 65,536 bits
//   build, probe  tables of 256 KB, 16 MB and 1 GB; half of the slots are filled, and half of the probed rows match
//   partition     1,048,576 rows into 16 or 256 partitions
//   gather        65,536 of 1,048,576 values of 1 to 15 bytes, by identifiers of 1 to 8 bytes, pairs, or references
//   transpose     65,536 rows of four columns: references, then records or values by offsets or entries
//   bloom         maps of 32 KB to 64 MB; all of 1,048,576 rows, or 10 percent by a filter
//   hash          65,536 values of 8 bytes, or codes of 4,096 such values, by a trivial hash function
//   translate     65,536 keys in tables of 4,096 to 4,194,304 entries; half of the keys have an entry
//   group_key     one to four columns of 65,536 codes of 5, 8 or 12 bits
//   sum           65,536 numbers, without keys or with keys of 1 to 1,048,576 groups, also in runs of 1,000 rows
//   arith, convert
//                 65,536 numbers
//   point_in_polygon
//                 a polygon of 65,536 vertices
//   call          whole calls of an entry point for few rows
//
// Grows/s is 10^9 rows a second.  of_read compares the kernel with a plain read of the same bytes: 1 means as fast as
// the read.  Kernel and read are timed in turn.  of_touch compares in the same way with a read of one byte of each
// bucket, value or byte of a map that the kernel needs, with a copy of the partitioned records, or with the calls of
// the hash function alone.  cycles/64 is the number of cycles for 64 rows.  The clock rate is measured at the start of
// each benchmark.  Pin the process to a core.  --benchmark_out=FILE writes JSON.  Placeholder kernels are not measured.
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
