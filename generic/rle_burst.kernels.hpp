// The bursts: X(suffix, width), where a suffix names the width of the run lengths and whether a CLA is present.  The
// slots stand at the width codes of 7 and 8 bits, and of 15 and 16.
#define VORN_BURST_KERNELS(X)                                                                                          \
  X(8bit, 7)                                                                                                           \
  X(8bit_cla, 8)                                                                                                       \
  X(16bit, 15)                                                                                                         \
  X(16bit_cla, 16)
