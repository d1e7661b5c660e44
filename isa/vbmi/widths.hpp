// EACH(width) for the widths of dictionary codes, and for those and the other widths of values.
#pragma once

#define VORN_CODE_WIDTHS(EACH)                                                                                         \
  EACH(1)                                                                                                              \
  EACH(2)                                                                                                              \
  EACH(3)                                                                                                              \
  EACH(4)                                                                                                              \
  EACH(5)                                                                                                              \
  EACH(6)                                                                                                              \
  EACH(7)                                                                                                              \
  EACH(8)                                                                                                              \
  EACH(9)                                                                                                              \
  EACH(10)                                                                                                             \
  EACH(11)                                                                                                             \
  EACH(12)                                                                                                             \
  EACH(13)                                                                                                             \
  EACH(14)                                                                                                             \
  EACH(15)                                                                                                             \
  EACH(16)                                                                                                             \
  EACH(17)                                                                                                             \
  EACH(18)                                                                                                             \
  EACH(19)                                                                                                             \
  EACH(20)                                                                                                             \
  EACH(24)                                                                                                             \
  EACH(32)
#define VORN_VALUE_WIDTHS(EACH)                                                                                        \
  VORN_CODE_WIDTHS(EACH)                                                                                               \
  EACH(40)                                                                                                             \
  EACH(48)                                                                                                             \
  EACH(56)                                                                                                             \
  EACH(64)
