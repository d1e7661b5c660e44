// The families of kernels on the page, with the names of their benchmarks.  A # in a name is the number or the size along
// the axis.  `node families.mjs [stream|growth]` prints the filter of vorn_bench for one group of benchmarks.  The groups
// take different times, so they have different numbers of repetitions.

const cycles = (name) => ({ name, measure: 'cycles', heading: '65,536 rows in cache' });
const rate = (name, heading) => ({ name, measure: 'rate', heading });

const byWidth = (title, kernel, { streamed = true } = {}) => ({
  title,
  axis: 'width',
  panels: [
    cycles(`in_cache/${kernel}`),
    ...(streamed ? [rate(`out_of_cache/${kernel}`, 'a stream of 256 MB')] : []),
  ],
});

const decoded = (title, name) => ({ title, axis: 'width', panels: [cycles(name)] });

const unpack = 'vorn_decode_unpack_dict_#bit';

export const widths = [
  byWidth('Comparison of dictionary codes with a constant', 'vorn_le_dict_#bit'),
  byWidth('Comparison with two constants', 'vorn_ge_lt_dict_#bit', { streamed: false }),
  byWidth('Comparison of fixed values', 'vorn_le_fixed_#bit'),
  byWidth('Not equal, with NULL', 'vorn_ne_dict_#bit_null', { streamed: false }),
  byWidth('Comparison of dynamic-packed values', 'vorn_le_dynp_#bit'),
  byWidth('Membership in a set', 'vorn_set_dict_#bit', { streamed: false }),
  decoded('Comparison under a filter of 10 % of the rows', 'twin_10/vorn_le_dict_#bit'),
  decoded('Unpacking a range', `range/${unpack}`),
  decoded('Unpacking the rows of a filter of 10 %', `filter_10/${unpack}`),
  decoded('Decoding a list of half of the rows, values of one length', 'one_length/vorn_decode_dict_#bit'),
];

export const operations = [
  {
    title: 'Bit vectors and runs',
    names: {
      'AND of three vectors, counted': 'combine_3_counted/lbiwv',
      'count of ones': 'popcnt/lbiwv',
      'list of ones, 50 %': 'ones_50/lbiwv',
      'result of runs of 4 to rows': 'runs_of_4/vorn_burst_rle_8bit',
      'result of runs of 20 to rows': 'runs_of_20/vorn_burst_rle_8bit',
      'result of runs of 100 to rows': 'runs_of_100/vorn_burst_rle_8bit',
    },
  },
  {
    title: 'Hashing and rows',
    names: {
      'hash of 8 bytes': 'hash/fixed',
      'partition to 16, row identifiers': 'partition/rid_16',
      'partition to 256, values of 8 bytes': 'partition/fixed_256',
      'gather of 8 bytes': 'gather/cla_fixed_8',
      'four columns to references': 'transpose/reference',
      'four columns to rows': 'transpose/row_cla',
    },
  },
  {
    title: 'Expressions',
    names: {
      'translate by 4,096 entries': 'translate/vorn_xlate_sim_ub2_4K',
      'group key of two columns': 'group_key/shifted_2x8',
      'sum by 256 groups, canonical': 'sum/double_canonical_256',
      'product, native': 'arith/vorn_mul_double_n_n',
      'product, canonical': 'arith/vorn_mul_double_c_c',
      'canonical to native': 'convert/double',
    },
  },
];

export const growth = [
  {
    title: 'With the size of a hash table or bloom map',
    axis: 'bytes',
    panels: [
      rate('build/k4v4_#', 'build'),
      rate('probe/k4v4_#', 'probe, half of the rows match'),
      rate('bloom/hash64_#', 'bloom test'),
    ],
  },
  {
    title: 'With the number of rows of a scan',
    axis: 'rows',
    panels: [2, 8, 12, 16].map((width) => rate(`rows_#/vorn_le_dict_${width}bit`, `codes of ${width} bits`)),
  },
];

// A regular expression.  Its group is the number or the size.
export const patternOf = (name) => `^${name.replace('#', '([0-9]+[KMG]?)')}$`;

const filters = {
  cache: [...widths.flatMap((f) => f.panels.map((p) => p.name)), ...operations.flatMap((f) => Object.values(f.names))],
  growth: growth.flatMap((f) => f.panels.map((p) => p.name)),
};
filters.stream = filters.cache.filter((name) => name.startsWith('out_of_cache'));
filters.cache = filters.cache.filter((name) => !name.startsWith('out_of_cache'));

if (process.argv[1] === import.meta.filename)
  console.log([...new Set(filters[process.argv[2] ?? 'cache'])].map((name) => patternOf(name).replace('$', '/')).join('|'));
