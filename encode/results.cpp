// The texts of results.
#include <vorn/encode.h>

const char *vornenc_result_text(uint32_t result) {
  switch (result) {
  case VORNENC_DONE:
    return "done";
  case VORNENC_NO_ROOM:
    return "an output is too small";
  case VORNENC_TOO_WIDE:
    return "a number does not fit its width, or a length its limit";
  case VORNENC_BAD_WIDTH:
    return "the form does not have this width, kind or layout";
  case VORNENC_TOO_MANY:
    return "more rows, symbols, keys or bytes than the form can hold";
  case VORNENC_NOT_ONE_LENGTH:
    return "the symbols of a dictionary of one length have different lengths";
  default:
    return nullptr;
  }
}
