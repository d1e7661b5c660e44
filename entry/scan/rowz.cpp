// Predicate codes of the sibling module rowz.
#include "frame/vorn.h"

extern "C" uint32_t vorn_convert_rowz_pcode(uint8_t code) {
  switch (code) {
  case 0:
  case 14:
    return VORN_OPC_GT;
  case 1:
  case 15:
    return VORN_OPC_LT;
  case 2:
  case 16:
    return VORN_OPC_GE;
  case 3:
  case 17:
    return VORN_OPC_LE;
  case 4:
  case 18:
    return VORN_OPC_EQ;
  case 5:
  case 19:
    return VORN_OPC_NE;
  case 28:
  case 32:
    return VORN_OPC_GE_LE;
  case 29:
  case 33:
    return VORN_OPC_GT_LE;
  case 30:
  case 34:
    return VORN_OPC_GE_LT;
  case 31:
  case 35:
    return VORN_OPC_GT_LT;
  default:
    return VORN_OPC_NONE;
  }
}
