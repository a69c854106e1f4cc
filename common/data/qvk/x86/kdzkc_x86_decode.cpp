// kdzkc_x86_decode.cpp: emits the kernels that look up symbols: of packed codes, a kernel a width; of unpacked ones,
// three for the sizes of their elements, under a name for each width.
#include "decode/dict.h"
#include "decode/unpacked_symbols.h"
#include "frame/kernels.h"

#define KDZK_DEFINE_DECODE(width)                                                                                      \
    uint64_t KDZK_KERNEL(decode, dict, width, plain) KDZK_VEC_PARAMETERS { return kdzk::decode<width>(dst, src, ctx); }
KDZK_DECODE_WIDTHS(KDZK_DEFINE_DECODE)

extern "C" {

uint64_t kdzk_decode_8bit_symbols KDZK_VEC_PARAMETERS { return kdzk::decode_unpacked<uint8_t>(dst, src, ctx); }
uint64_t kdzk_decode_16bit_symbols KDZK_VEC_PARAMETERS { return kdzk::decode_unpacked<uint16_t>(dst, src, ctx); }
uint64_t kdzk_decode_32bit_symbols KDZK_VEC_PARAMETERS { return kdzk::decode_unpacked<uint32_t>(dst, src, ctx); }

#define KDZK_NAME_OF_8BIT_SYMBOLS(width)                                                                               \
    uint64_t KDZK_KERNEL(decode_symbol, dict, width, plain)                                                            \
    KDZK_VEC_PARAMETERS KDZK_SAME_AS(kdzk_decode_8bit_symbols);
#define KDZK_NAME_OF_16BIT_SYMBOLS(width)                                                                              \
    uint64_t KDZK_KERNEL(decode_symbol, dict, width, plain)                                                            \
    KDZK_VEC_PARAMETERS KDZK_SAME_AS(kdzk_decode_16bit_symbols);
#define KDZK_NAME_OF_32BIT_SYMBOLS(width)                                                                              \
    uint64_t KDZK_KERNEL(decode_symbol, dict, width, plain)                                                            \
    KDZK_VEC_PARAMETERS KDZK_SAME_AS(kdzk_decode_32bit_symbols);
KDZK_DECODE_TO_8(KDZK_NAME_OF_8BIT_SYMBOLS)
KDZK_DECODE_TO_16(KDZK_NAME_OF_16BIT_SYMBOLS)
KDZK_DECODE_TO_32(KDZK_NAME_OF_32BIT_SYMBOLS)

}  // extern "C"
