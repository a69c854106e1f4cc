/* kdzk.h: the whole C interface of libqvksse42, scan and decode kernels for columnar data.
 *
 * A host keeps a column as a vector, hands it to a kernel with an operand and a context, and gets back a bit vector
 * with one bit a row, a count and a status. Kernels are found by slot in kdzk_dispatch_table; bit-vector functions are
 * plain exports with which results are combined between calls.
 *
 * Life      Nothing is set up or torn down: the first call may be a kernel.
 * Memory    The host owns every record and buffer. The library allocates through the host's entries only, keeps no
 *           pointer after a call, and has no state. The one thing that outlives a call is the decompressed payload
 *           behind kdzk_vec.decomp_slot, which belongs to the host.
 * Threads   Any function may run on any number of threads on separate data; a destination and a kdzk_exec_ctx belong to
 *           one call at a time. The filling of a decomp_slot holder isn't guarded: two threads may share a source only
 *           once its holder is filled, or with a holder each.
 * Trust     Nothing is validated. Records, keys, dictionaries and streams are the host's responsibility.
 * Order     Integers are little-endian, as the machine's own, unless a name ends in _be (big-endian behind a pointer).
 *           Codes and values in a payload are big-endian bit strings.
 * Processor x86-64 with SSSE3, SSE4.1, SSE4.2 and POPCNT, used without a test.
 *
 * Bit vectors: row r is bit r mod 64, counted from the least significant, of 64-bit word r div 64. n rows take
 * (n + 63) div 64 words. Bits at and above n in the last word aren't part of the vector: they may be set, and no count
 * includes them.
 *
 * A host may keep fields of its own behind those listed here; the library touches the listed ones alone.
 */
#ifndef KDZK_H
#define KDZK_H

#include <stddef.h>
#include <stdint.h>

#if defined(__cplusplus) && __cplusplus >= 201402L
#define KDZK_CONSTEXPR constexpr
#else
#define KDZK_CONSTEXPR
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------------------------------------------------------------
 * Constants
 * ------------------------------------------------------------------------------------------------------------------ */

/* What kernels return, in the low 32 bits; the upper 32 are zero. */
enum {
    KDZK_STATUS_OK = 0,     /* predicate, set, burst, Bloom: at least one row hit; decode: done, or wrote an element;
                               kdzk_ypak_decode_dydi: done; sum and distinct: nothing was done */
    KDZK_STATUS_NO_HIT = 1, /* predicate, set, burst, Bloom: no row hit; decode_unpack: wrote no element. No error */
    KDZK_STATUS_NOT_HASHES = 2, /* Bloom: the source lacks KDZK_ENC_HASHES; nothing was written */
    KDZK_STATUS_REFUSED = 5 /* decode, decode_symbol: dict_kind is neither 0 nor 1; kdzk_ypak_decode_dydi: bad stream */
};

/* Bits of kdzk_enc_ctx.flags. */
enum {
    KDZK_ENC_HASHES = 0x80, /* the vector holds hashes for kdzk_bloom_dydi */
    KDZK_RLE = 0x200,       /* the vector is run-length encoded; burst kernels assert it */
    KDZK_ENC_YPAK = 0x1000  /* data is a YPAK stream, decompressed on demand into decomp_slot */
};

/* Bits that selective bodies OR into kdzk_exec_ctx.flags, as one byte: the word's first or second. The library never
 * clears or reads them. */
enum {
    KDZK_RAN_SELECTIVE = 0x80,     /* a predicate kernel took its selective body */
    KDZK_RAN_SELECTIVE_SET = 0x400 /* a set kernel took its selective body */
};

/* Bytes that must be readable behind a payload of dictionary codes, that is behind the byte that holds the last code's
 * last bit; what they hold doesn't matter. Widths of 8, 16, 32 and 64 bits need none. */
enum { KDZK_DICT_SLACK_BYTES = 8 };

/* The same behind the last row of a fixed payload whose rows are shorter than their lanes, of 24, 40, 48 or 56 bits;
 * rows that fill their lanes need none. */
enum { KDZK_FIXED_SLACK_BYTES = 6 };

/* The same behind the last row of a dynp payload, at 16, 32 and 64 bits: 8, 12 and 14 are enough. */
enum { KDZK_DYNP_SLACK_BYTES = 14 };

/* The same behind the last byte of lens that holds a row's field, for tz kernels; plain dynp kernels need none. */
enum { KDZK_LENS_SLACK_BYTES = 12 };

/* kdzk_vec.row_flags entries. */
enum { KDZK_ROW_VALUE = 0, KDZK_ROW_EMPTY = 2 };

/* Classes of encoding, as kdzk_slot takes them. */
enum { KDZK_CLASS_FIXED = 0, KDZK_CLASS_DICT = 1, KDZK_CLASS_DYNP = 2, KDZK_CLASS_RLE = 3 };

/* Operations, as kdzk_slot takes them. A range operation takes the lower key first. */
enum {
    KDZK_OP_EQ = 0,    /* value = key */
    KDZK_OP_LT = 1,    /* value < key */
    KDZK_OP_GT = 2,    /* value > key */
    KDZK_OP_LE = 3,    /* value <= key */
    KDZK_OP_GE = 4,    /* value >= key */
    KDZK_OP_NE = 5,    /* value != key */
    KDZK_OP_GT_LT = 6, /* lower <  value <  upper */
    KDZK_OP_GT_LE = 7, /* lower <  value <= upper */
    KDZK_OP_GE_LT = 8, /* lower <= value <  upper */
    KDZK_OP_GE_LE = 9, /* lower <= value <= upper */
    KDZK_OP_DECODE = 10,
    KDZK_OP_DECODE_UNPACK = 11,
    KDZK_OP_DECODE_SYMBOL = 12,
    KDZK_OP_SET = 13,
    KDZK_OP_BURST = 14,
    KDZK_OP_SUM = 15,     /* stub: touches nothing and returns 0 */
    KDZK_OP_DISTINCT = 16 /* stub: touches nothing and returns 0 */
};

/* Forms of a kernel, as kdzk_slot takes them. */
enum {
    KDZK_FORM_PLAIN = 0,
    KDZK_FORM_NULL = 1, /* dict: code 0 is NULL and never hits */
    KDZK_FORM_TZ = 2,   /* fixed, dynp: trailing zero bytes count, by the length field */
    KDZK_FORM_CLA = 3   /* rle: runs by cumulative starts instead of lengths */
};

/* ---------------------------------------------------------------------------------------------------------------------
 * Records
 * ------------------------------------------------------------------------------------------------------------------ */

/* The host's context as far as the library knows it. */
typedef struct kdzk_env {
    void *err_handle; /* second argument of host_raise_internal_error, passed on unread */
} kdzk_env;

/* Block of four words that a kernel builds for one decoder call. */
typedef struct kdzk_ypak_ctx kdzk_ypak_ctx;

/* Allocates the decompressed buffer of a vector: size is decomp_len in bytes, label is static text that names the
 * kernel, such as "kdzk_eq_dict_8bit: vec1_decomp", then the constants 8 and 16, then the vector's alloc_arg. Range
 * operators over a selection carry the name of their lower bound's operator alone, here and in messages: gt_lt and
 * gt_le say "kdzk_gt_...", ge_lt and ge_le say "kdzk_ge_...". The buffer must stay valid as long as the holder points
 * at it. The result isn't tested, so an alloc that can't serve must not return (a non-local jump is safe). */
typedef void *(*kdzk_alloc_fn)(void *env, void *heap, uint32_t size, const char *label, uint64_t constant_8,
                               uint64_t constant_16, uint64_t alloc_arg);

/* Allocates a scratch array of the stream decoder: size in bytes, label, the constants 8 and 0. For N symbols these are
 * "ypak_decode_x86 length_array" of N + 1 bytes, then "ypak_decode_x86: symbol_array" of 8 N. cookie points at a word,
 * zero, that the allocator may fill. The result isn't tested; if the second call leaves by a jump, the first array is
 * the host's to free. */
typedef void *(*kdzk_stream_alloc_fn)(void *env, uint64_t size, const char *label, uint64_t constant_8,
                                      uint64_t constant_0, uint64_t *cookie);
/* Frees what kdzk_stream_alloc_fn gave, with what it left in its cookie: the symbols, then the lengths. block isn't
 * null. */
typedef void (*kdzk_stream_free_fn)(void *env, void *block, uint64_t cookie);

/* Decodes the stream at src into buffer, which has room for limit bytes, and stores the number of bytes written in
 * *produced. Returns 0, or anything else on failure. kdzk_ypak_decode_dydi is one; a host may put in its own. */
typedef uint32_t (*kdzk_ypak_decode_fn)(kdzk_ypak_ctx *ctx, const void *src, void *buffer, uint32_t *produced,
                                        uint32_t limit);

/* The host's service table. Read only. */
typedef struct kdzk_host_env {
    kdzk_env *env; /* first argument of every host call */
    void *heap;    /* second argument of alloc */
    kdzk_alloc_fn alloc;
    kdzk_stream_alloc_fn stream_alloc;
    kdzk_stream_free_fn stream_free;
    kdzk_ypak_decode_fn ypak_decode;
} kdzk_host_env;

struct kdzk_ypak_ctx {
    kdzk_env *env;
    void *heap;
    kdzk_stream_alloc_fn stream_alloc;
    kdzk_stream_free_fn stream_free;
};

/* How a column is encoded. Read only. */
typedef struct kdzk_enc_ctx {
    uint64_t sym_data;         /* address of the dictionary's symbol bytes */
    const void *sym_len_be;    /* dict_kind 0: one big-endian u16, the length of every symbol in bytes */
    const void *sym_off_be;    /* dict_kind 1: big-endian u32 offsets, one more than there are symbols, in bytes */
    uint32_t dict_kind;        /* 0: symbols of one length; 1: lengths by offset table */
    const void *run_lens;      /* burst, plain: one u8 or big-endian u16 run length in rows a run */
    uint32_t run_count;        /* burst: number of runs */
    const void *run_offs_be;   /* burst, _cla: big-endian u32 first rows, run_count + 1 entries */
    uint8_t bloom_partitioned; /* Bloom filter: non-zero if res_bv points at an array of partitions */
    uint32_t bloom_mask;       /* Bloom filter: applied to the hash */
    uint32_t bloom_shift;      /* Bloom filter: right shift, in bits, that gives a masked hash's partition; below 32 */
    uint32_t bloom_part_mask;  /* Bloom filter: applied to a masked hash, gives the bit inside its partition */
    uint32_t flags;            /* KDZK_ENC_YPAK, KDZK_RLE, KDZK_ENC_HASHES */
    uint8_t width;             /* stored width of one value in bits, where one kernel serves several */
} kdzk_enc_ctx;

/* A vector: destination (first kernel argument), source (second) and operand (kdzk_pred) alike. */
typedef struct kdzk_vec {
    void *data;                  /* source: the payload, or its YPAK stream; read only.
                                    decode: the output array. Bloom destination: its kdzk_bloom_span.
                                    operand: the key, read at the kernel's key width */
    void *lens;                  /* dynp and tz source: length fields of 1, 2 or 4 bits from the high bits of each byte
                                    down. decode: one u16 length in bytes a row. tz operand: a byte, the key's field */
    uint16_t *row_flags;         /* decode: KDZK_ROW_VALUE or KDZK_ROW_EMPTY a row */
    const kdzk_enc_ctx *enc_ctx; /* source: always set. operand: Bloom filters and 32- and 64-bit fixed keys */
    const uint64_t *filter_bv;   /* source, may be null: ANDed into the result of a predicate */
    uint64_t *res_bv;            /* destination: the result, room for row_count bits, any alignment.
                                    operand: the set, or the Bloom filter */
    uint32_t hit_count;          /* destination: rows that hit, or rows produced; not written by the stubs and by the
                                    statuses 2 and 5 */
    uint32_t row_count;          /* rows of the vector; below 2^31. decode_unpack destination: capacity in elements */
    uint32_t decomp_len;         /* source: bytes of the payload after decompression */
    void **decomp_slot;          /* source: holder of the decompressed buffer, valid whenever KDZK_ENC_YPAK is set. Null
                                    in the holder: not yet decompressed; the first kernel allocates, stores and decodes.
                                    The library never clears the holder or frees the buffer */
    uint64_t alloc_arg;          /* source: last argument of alloc, passed on unread */
} kdzk_vec;

/* The operand of a kernel: a vector of one row, of which data, lens, enc_ctx and res_bv are read.
 *
 * Keys of dict kernels are codes in the machine's byte order: a u8 at 8 bits, u16 at 16, u64 at 64 and u32 at all other
 * widths, no alignment needed. Exactly that many bytes are read, once. A key above the column's largest code is a fault
 * of the host at packed widths.
 *
 * Keys of fixed and dynp kernels are big-endian byte strings as long as the lane, 1, 2, 4 or 8 bytes, with zeros
 * behind the row's own bytes. A tz key has its length field besides, one byte behind lens: its length in bytes less
 * one. */
typedef struct kdzk_vec kdzk_pred;

/* Host services and the state of one call. A main predicate or set body accepts a null context as long as the source
 * needs no decompression; every other kernel needs one. */
typedef struct kdzk_exec_ctx {
    const kdzk_host_env *host; /* read only when a source must be decompressed */
    const uint64_t *sel_bv; /* the selection, may be null: rows that the host still wants; burst: one bit a run. Walks
                               over it read one word even where there are no rows */
    uint32_t bloom_negate;  /* Bloom: 0 reports rows whose filter bit is set, else rows whose bit is clear */
    uint32_t selective;     /* non-zero with sel_bv: predicate and set kernels visit the selected rows only, instead of
                               scanning all and masking. decode_unpack: walk by iterator instead of by words */
    uint32_t wide_codes;    /* decode_unpack, decode_symbol: 0 for the narrow element type, else 32 bits */
    uint32_t row_pos;       /* decode, decode_unpack: last row dealt with; decode_unpack on entry: first row to look at,
                               row_count at most */
    const uint32_t *row_list; /* decode: row numbers to process, in any order */
    uint32_t row_list_len;    /* entries in row_list */
    uint32_t start_row;       /* Bloom: first row to probe */
    uint32_t flags;           /* KDZK_RAN_SELECTIVE, KDZK_RAN_SELECTIVE_SET: ORed in by the library */
} kdzk_exec_ctx;

/* Iterator over the set or clear bits of a bit vector, in the caller's memory; nothing has to be freed. */
typedef struct kdzk_lbiv_ictx {
    const uint64_t *next; /* the word after the current one */
    uint32_t nbits;       /* rows at or above it are never delivered; compared signed, so below 2^31 */
    uint32_t word_base;   /* row of bit 0 of the current word, a multiple of 64 */
    uint64_t bit_pos;     /* position in the current word at which the search goes on */
    uint64_t cur;         /* bits of the current word that haven't been delivered */
} kdzk_lbiv_ictx;

/* What kdzk_bloom_dydi stores behind the destination's data; both 0xFFFFFFFF if no row hit. */
typedef struct kdzk_bloom_span {
    uint32_t first_row, last_row;
} kdzk_bloom_span;

/* ---------------------------------------------------------------------------------------------------------------------
 * Kernels and the dispatch table
 * ------------------------------------------------------------------------------------------------------------------ */

/* eq, lt, gt, le, ge, ne with a key, set with the set. */
typedef uint64_t (*kdzk_key_fn)(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *key, kdzk_exec_ctx *ctx);
/* gt_lt, gt_le, ge_lt, ge_le: the lower key first. The kernel never orders them; lower above upper hits nothing. */
typedef uint64_t (*kdzk_range_fn)(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *lower, const kdzk_pred *upper,
                                  kdzk_exec_ctx *ctx);
/* decode, decode_unpack, decode_symbol, burst, sum, distinct. */
typedef uint64_t (*kdzk_vec_fn)(kdzk_vec *dst, const kdzk_vec *src, kdzk_exec_ctx *ctx);

/* One slot of the table: the member to call through follows from the operation. */
typedef union kdzk_kernel {
    kdzk_key_fn key;
    kdzk_range_fn range;
    kdzk_vec_fn vec;
    void (*invalid)(void); /* what an unused slot holds: prints a line and ends the process */
} kdzk_kernel;

/* What a predicate kernel does, as all of one shape:
 *
 * Reads      the payload of src (data, or the buffer behind decomp_slot), the key or keys once, and of filter_bv and
 *            sel_bv (rows + 63) div 64 whole words; a selective call one word of sel_bv even for no rows.
 * Rows       row_count of dst in a full scan, of src in a selective call; hosts keep them equal. dict: rows times width
 *            stay below 2^32 bits but at 8, 16, 32 and 64 bits.
 * Writes     (rows + 63) div 64 words of res_bv, of any alignment, nothing beyond; hit_count; the holder and its buffer
 *            when the source is decompressed; KDZK_RAN_SELECTIVE in a selective call.
 * Result     row r's bit is set if its value passes the operator, its bit in filter_bv is set (where there is one) and
 *            its bit in sel_bv is set (where there is one). Bits at and above rows are zero, but see 1 bit.
 * fixed      Rows are big-endian byte strings of one length, compared as numbers at the high end of a lane of 8, 16,
 *            32 or 64 bits, zeros behind them: of 1, 2, 3 or 4, and 5 to 8 bytes. At 32 and 64 bits, width of the
 *            first key's enc_ctx tells the length in bits; in the main bodies of tz kernels, width of the source's
 *            does; hosts set both. A key's bytes behind the row's length have to be zeros. Kept on purpose where they
 *            aren't: rows behind the last whole block (of 32 rows at 32 bits and 16 at 64, with tz half as many) take
 *            them for zeros, but in eq and ne at 32 bits; all other rows compare them.
 * dynp       Rows of 1 to 2, 4 or 8 bytes without the zero bytes behind them, end to end; lens tells their lengths.
 *            Two rows that differ in the number of zeros that they kept are equal. At 64 bits a length field above 7
 *            isn't valid: in whole blocks its group of two rows takes 16 bytes and counts as zeros, anywhere else it
 *            is a fault.
 * tz         fixed, dynp: values that tie compare by their length fields, so that AB comes before AB 00. At 8 bits
 *            rows have one length, and lens is read nowhere. A key's field beyond a row's largest is a fault in whole
 *            blocks; rows that are tested one by one compare it whole.
 * 1 bit      dict kernels of 1 bit decide on the key in full scans and differ in three ways, kept on purpose. Where the
 *            result is the codes' complement, bits at and above rows in its last word are ones before the masks are
 *            applied. In the null form filter_bv isn't read. A key above 1 counts as 1, but in a range, which then hits
 *            nothing, and for plain ne, where it counts as 0; selective calls compare with it.
 * Overlap    res_bv must not overlap the payload, filter_bv or sel_bv.
 * Slack      dict: KDZK_DICT_SLACK_BYTES; fixed: KDZK_FIXED_SLACK_BYTES; dynp: KDZK_DYNP_SLACK_BYTES. Where codes or
 *            rows fill lanes of 8, 16, 32 or 64 bits none: such a payload isn't read past its last row.
 * Returns    KDZK_STATUS_OK if hit_count isn't 0, else KDZK_STATUS_NO_HIT.
 * Fails      only when the source's stream can't be decoded: see host_raise_internal_error. */

/* What the decode and set kernels do, over dictionary codes of 1 to 20, 24 and 32 bits. Payloads have the slack of
 * predicate kernels; rows times width stay below 2^32 bits where codes are packed.
 *
 * decode         the symbols of the rows in row_list, in its order: their addresses (u64) in data of dst, their lengths
 *                in bytes (u16) in lens, KDZK_ROW_VALUE or, for an empty one, KDZK_ROW_EMPTY in row_flags. Lengths are
 *                taken modulo 2^16. hit_count becomes row_list_len; row_pos the list's last entry, or stays with none.
 *                Where all symbols have length 0, data and the payload aren't touched. Addresses of symbols of one
 *                length are sym_data plus code times length modulo 2^32. The context's sel_bv isn't read.
 * decode_symbol  the same of row_count codes that are integers already, as decode_unpack writes them, in data of src;
 *                never compressed. Lengths of 64 KiB and more become 65535 in each eight rows from the first on, and
 *                are taken modulo 2^16 in the rest: kept on purpose. row_pos stays.
 * decode_unpack  codes as integers in the machine's byte order, without gaps, in data of dst: of 8 bits for widths up
 *                to 8, 16 up to 16, else 32, or of 32 whatever the width where wide_codes says so. Without sel_bv and
 *                row_list all rows from row_pos on; without sel_bv the listed rows; neither looks at the capacity, and
 *                row_pos becomes the last row of the vector or of the list. With sel_bv the selected rows from row_pos
 *                on, as long as there is room for row_count of dst elements; nothing is stored behind that room, but
 *                something may be in what is left of it. row_pos becomes the last row dealt with: the next call starts
 *                one higher. Kept on purpose: with no room at all it stays in the walk by words and goes down by one
 *                in the other.
 * set            row r's bit is set if bit c of the operand's res_bv is, c being the row's code, and its bit in sel_bv
 *                is (where there is one). row_count of src counts, and filter_bv isn't read, in either body. Of the
 *                set, words up to that of the highest code that occurs are read, and up to 6 bits the first one.
 *                Result words, count, status and overlap as for predicates; the mark is KDZK_RAN_SELECTIVE_SET.
 * Overlap        outputs overlap neither each other nor what is read.
 * Returns        decode, decode_symbol: KDZK_STATUS_OK, or KDZK_STATUS_REFUSED for a dict_kind other than 0 and 1, and
 *                then nothing is touched. decode_unpack: KDZK_STATUS_OK, or KDZK_STATUS_NO_HIT with no element. */

/* What the burst kernels do, over a column of runs, rows that follow each other with one value: bits of runs become
 * bits of rows.
 *
 * Runs       run_count of the source's enc_ctx. In the plain forms run_lens has their lengths in rows, and they follow
 *            each other from row 0; in the _cla forms run_offs_be has the first row of each, ascending, and the row
 *            behind the last. Their rows lie below row_count of dst. Runs behind the last wanted one aren't looked
 *            at, nor are data and filter_bv. No slack.
 * Selection  sel_bv of the context, one bit a run, never null: the wanted runs.
 * Writes     (row_count + 63) div 64 words of res_bv, with a one for each row of a wanted run; hit_count: the sum of
 *            the wanted runs' lengths, modulo 2^32.
 * Returns    KDZK_STATUS_OK if hit_count isn't 0, else KDZK_STATUS_NO_HIT.
 * Fails      asserts that flags has KDZK_RLE and that res_bv isn't sel_bv, in every build. Where the runtime's
 *            assertion failure returns, the 8-bit forms give up with hit_count 0, KDZK_STATUS_NO_HIT and the result
 *            as it was, and the 16-bit forms go on: kept on purpose. */

#define KDZK_TABLE_SLOTS 8192
#define KDZK_CONSTANT_COUNT 12

typedef kdzk_kernel kdzk_kernel_table[KDZK_TABLE_SLOTS];
typedef uint64_t kdzk_constant_words[KDZK_CONSTANT_COUNT];

/* All kernels, by slot; constant. Every slot is filled: one that no kernel serves writes the line "Dispatched to
 * unimplemented function!" to standard output and ends the process with an assertion failure. */
extern const kdzk_kernel_table kdzk_dispatch_table;

/* Twelve words for the host to read; the library reads none of them. */
extern const kdzk_constant_words kdzk_constants;

/* A host's direct reference to either would make the linker copy it into the executable and freeze its size and
 * contents there. So the names stand for a reference through the global offset table, whatever the host is compiled
 * for: no flag is needed. They are expressions then, not objects: fit for everything but the initialiser of a static
 * object in C. */
#if defined(__x86_64__) && defined(__ELF__) && !defined(KDZK_BUILD)
static inline const kdzk_kernel_table *kdzk_dispatch_table_indirect(void) {
    const kdzk_kernel_table *table;
    __asm__("{movq kdzk_dispatch_table@GOTPCREL(%%rip), %0|mov %0, kdzk_dispatch_table@GOTPCREL[rip]}" : "=r"(table));
    return table;
}
static inline const kdzk_constant_words *kdzk_constants_indirect(void) {
    const kdzk_constant_words *words;
    __asm__("{movq kdzk_constants@GOTPCREL(%%rip), %0|mov %0, kdzk_constants@GOTPCREL[rip]}" : "=r"(words));
    return words;
}
#define kdzk_dispatch_table (*kdzk_dispatch_table_indirect())
#define kdzk_constants (*kdzk_constants_indirect())
#endif

/* The slot of a kernel: class KDZK_CLASS_*, width in bits, operation KDZK_OP_*, form KDZK_FORM_* of that class. Widths
 * are 1 to 20, 24, 32 and 64; any other gives a slot that no kernel serves, as do a class, width and operation that
 * don't go together. The burst kernels stand one row off: their plain forms on the row below their width's, their _cla
 * forms on it, so run lengths of other widths than 8 and 16 bits have no slot of their own. */
KDZK_CONSTEXPR static inline uint32_t kdzk_slot(uint32_t kernel_class, uint32_t width_bits, uint32_t operation,
                                                uint32_t form) {
    const int is_rle = kernel_class == KDZK_CLASS_RLE;
    const uint32_t unserved_row = 24;
    const uint32_t row = is_rle && width_bits != 8 && width_bits != 16 ? unserved_row
                         : width_bits >= 1 && width_bits <= 20         ? width_bits
                         : width_bits == 24                            ? 21
                         : width_bits == 32                            ? 22
                         : width_bits == 64                            ? 23
                                                                       : unserved_row;
    const uint32_t rows_down = is_rle && form == KDZK_FORM_PLAIN && row != unserved_row ? 1 : 0;
    const uint32_t rows_up = form == KDZK_FORM_NULL || form == KDZK_FORM_TZ ? 32 : 0;
    return (row + rows_up - rows_down - 1) * 128 + kernel_class * 32 + operation;
}

/* ---------------------------------------------------------------------------------------------------------------------
 * What the library imports
 * ------------------------------------------------------------------------------------------------------------------ */

/* Provided by the host under this name; a host that loads the library at run time must have it among its own dynamic
 * symbols. Called when ypak_decode fails inside a kernel, with message
 * "<kernel>: kdzk_ypak_decode failed" (static text) and argument_count 0. It may leave by a non-local jump: the kernel
 * owns nothing at that moment. If it returns, the kernel carries on over whatever the buffer holds. The holder stays
 * filled either way, so a later call treats the buffer as ready. */
void host_raise_internal_error(void *env, void *err_handle, const char *message, int argument_count);

/* ---------------------------------------------------------------------------------------------------------------------
 * Entry points
 * ------------------------------------------------------------------------------------------------------------------ */

/* Both ignore their argument and do nothing: the tables are constant and there is no trace output. */
void kdzk_init_sharedlib_dydi(void *ignored);
void kdzk_set_trace_level_dydi(void *ignored);

/* ---------------------------------------------------------------------------------------------------------------------
 * Bit-vector algebra
 *
 * Shapes     lbiwv: (nbits + 63) div 64 whole words. lbiv: (nbits + 7) div 8 bytes; nothing beyond is touched.
 * Aligned    nothing has to be; lbiwv is slow when dst, or popcnt's bv, is off an 8-byte boundary.
 * Overlap    dst may be any source exactly; any other overlap is a fault of the caller.
 * Reads      whole units (words, bytes) of the sources and nothing beyond.
 * Writes     whole units of dst; bits at and above nbits in the last keep what the operation gave: after `not`, ones.
 * Count      if not null, overwritten with the number of ones, modulo 2^32, among the first nbits bits of the result.
 *            popcnt's count must not be null.
 * Checks     nothing. Threads: any, on separate dst. Owns nothing, never fails.
 * ------------------------------------------------------------------------------------------------------------------ */

/* dst = a & b */
void kdzk_lbivand_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits);
void kdzk_lbiwvand_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits);
/* dst = a | b */
void kdzk_lbivor_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits);
void kdzk_lbiwvor_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits);
/* dst = a ^ b */
void kdzk_lbivxor_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits);
void kdzk_lbiwvxor_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits);
/* dst = ~a & b: the first source is the one complemented, the reverse of the name's reading order */
void kdzk_lbivandnot_dydi(void *dst, uint32_t *count, const void *a, const void *b, uint64_t nbits);
void kdzk_lbiwvandnot_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, uint64_t nbits);
/* dst = a & b & c */
void kdzk_lbivand3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits);
void kdzk_lbiwvand3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits);
/* dst = a | b | c */
void kdzk_lbivor3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits);
void kdzk_lbiwvor3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                        uint64_t nbits);
/* dst = a ^ b ^ c */
void kdzk_lbivxor3_dydi(void *dst, uint32_t *count, const void *a, const void *b, const void *c, uint64_t nbits);
void kdzk_lbiwvxor3_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, const uint64_t *b, const uint64_t *c,
                         uint64_t nbits);
/* dst = ~a */
void kdzk_lbivnot_dydi(void *dst, uint32_t *count, const void *a, uint64_t nbits);
void kdzk_lbiwvnot_dydi(uint64_t *dst, uint32_t *count, const uint64_t *a, uint64_t nbits);
/* *count = the number of ones among the first nbits bits of bv */
void kdzk_lbivpopcnt_dydi(uint32_t *count, const void *bv, uint64_t nbits);
void kdzk_lbiwvpopcnt_dydi(uint32_t *count, const uint64_t *bv, uint64_t nbits);

/* ---------------------------------------------------------------------------------------------------------------------
 * Bit-vector iteration
 *
 * An iterator belongs to its caller, and the vector must not change under it: cur holds a copy of the current word.
 * Vectors may lie at any address. lbiwv reads whole words. lbiv never reads past the vector's last byte, but for the
 * word at start, which initialisation loads whole. The families end on different markers. A walk that has ended ends
 * again at each further call, 2^25 times at least.
 * ------------------------------------------------------------------------------------------------------------------ */

/* End markers of kdzk_lbiviter_dydi and kdzk_lbiviter_clr_dydi, and of their lbiwv forms. */
#define KDZK_LBIV_END UINT64_C(0xFFFFFFFF)
#define KDZK_LBIWV_END UINT64_C(0xFFFFFFFFFFFFFFFF)

/* Starts a walk over the first nbits rows of bv (the low 32 bits of nbits count) at row start. The whole word that
 * holds start is read, even when there is nothing to walk. invert complements that first word if its low byte is
 * exactly 1: pass 1 to walk zeros with the _clr functions, which complement every later word themselves, else 0. */
void kdzk_lbiv_ictx_ini2_dydi(kdzk_lbiv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint32_t invert,
                              uint64_t start);
void kdzk_lbiwv_ictx_ini2_dydi(kdzk_lbiv_ictx *ictx, const uint64_t *bv, uint64_t nbits, uint32_t invert,
                               uint64_t start);

/* The next row with a one bit, ascending, or the family's end marker. */
uint64_t kdzk_lbiviter_dydi(kdzk_lbiv_ictx *ictx);
uint64_t kdzk_lbiwviter_dydi(kdzk_lbiv_ictx *ictx);
/* The next row with a zero bit, ascending, or the family's end marker. */
uint64_t kdzk_lbiviter_clr_dydi(kdzk_lbiv_ictx *ictx);
uint64_t kdzk_lbiwviter_clr_dydi(kdzk_lbiv_ictx *ictx);

/* Stores up to max next rows with a one bit in out and returns how many; fewer than max means that the vector is
 * exhausted. max 0 touches nothing. */
uint64_t kdzk_lbivones_dydi(kdzk_lbiv_ictx *ictx, uint32_t *out, uint64_t max);
uint64_t kdzk_lbiwvones_dydi(kdzk_lbiv_ictx *ictx, uint32_t *out, uint64_t max);

/* Run-wise iteration is part of the interface so that hosts link, but no run is ever reported: the run functions return
 * their family's end marker, the runs functions 0. Arguments are ignored. */
uint64_t kdzk_lbivrun_dydi(kdzk_lbiv_ictx *ictx);
uint64_t kdzk_lbiwvrun_dydi(kdzk_lbiv_ictx *ictx);
uint64_t kdzk_lbivruns_dydi(kdzk_lbiv_ictx *ictx);
uint64_t kdzk_lbiwvruns_dydi(kdzk_lbiv_ictx *ictx);

/* Set or clear the bits first to last, both inclusive; first <= last is trusted. Only the bytes that hold them are
 * touched, so the functions serve both families. */
void kdzk_lbivset_range_dydi(void *bv, uint64_t first, uint64_t last);
void kdzk_lbiwvset_range_dydi(void *bv, uint64_t first, uint64_t last);
void kdzk_lbivclr_range_dydi(void *bv, uint64_t first, uint64_t last);
void kdzk_lbiwvclr_range_dydi(void *bv, uint64_t first, uint64_t last);

/* ---------------------------------------------------------------------------------------------------------------------
 * Stream decompression
 * ------------------------------------------------------------------------------------------------------------------ */

/* kdzk_ypak_decode_dydi: decodes a YPAK stream. Hosts put it into kdzk_host_env.ypak_decode.
 *
 * Stream     big-endian, unaligned: "YPAK", version 0, flags (0x02 set, 0x01 and 0x08 clear), 4 bytes unread, aux_count
 * (s16; above 0: extended form), uncompressed_length (u32), symbol_count (u16, 1 to 1024), 4-bit symbol lengths (1 to
 * 8), extended form: 2 bytes a symbol unread, symbol bytes, code_count (u32), extended form: aux_span (u32, its value
 * div 128 is the distance in bytes from itself to the codes), codes of W bits, W being the bits of symbol_count - 1.
 * Shapes     buffer: uncompressed_length bytes, no slack needed. limit: the most that uncompressed_length may be.
 * Reads      up to 16 bytes behind the stream; with 4 bytes of codes or more and W of 3 or more, 1 byte, at W = 8 none.
 * Writes     buffer; *produced, the number of bytes written.
 * Owns       two work arrays, from stream_alloc, both freed before it returns.
 * Returns    KDZK_STATUS_OK, or KDZK_STATUS_REFUSED: a header it doesn't know, more than limit bytes or a symbol_count
 *            out of range (nothing allocated or written), or a decoded length other than uncompressed_length (buffer
 *            and *produced written). The stream is trusted beyond that: no length, code or end is tested.
 * Threads    any, on separate buffers. */
uint32_t kdzk_ypak_decode_dydi(kdzk_ypak_ctx *ctx, const void *src, void *buffer, uint32_t *produced, uint32_t limit);

/* ---------------------------------------------------------------------------------------------------------------------
 * Bloom filter probe
 * ------------------------------------------------------------------------------------------------------------------ */

/* kdzk_bloom_dydi: reports the rows whose hash's bit is set in the filter (bloom_negate 0) or clear (non-zero).
 *
 * Hashes     src->data: at src->enc_ctx->width 32 one big-endian u32 a row, else one big-endian u64 a row of which the
 *            low half is the hash h. Read as it stands, never decompressed; nothing beyond the last row is read.
 * Filter     filter->res_bv. Flat: bytes; bit b = h & bloom_mask, counted from the least significant of byte b div 8.
 *            Partitioned: pointers to such byte arrays; m = h & bloom_mask, partition m >> bloom_shift, bit
 *            m & bloom_part_mask. Only read: any number of threads may probe one filter.
 * Rows       from ctx->start_row, at most src->row_count, to src->row_count - 1; with ctx->sel_bv only its set bits
 *            (selective isn't looked at), of which the word at start_row is read even when no row is left.
 * Writes     dst->res_bv is only added to, never cleared: rows before the first multiple of 8, the last rows after
 *            blocks of 16, and selected rows are ORed in; a block of 16 rows with a hit replaces its 16 bits, one
 *            without leaves them. dst->hit_count: the hits. The kdzk_bloom_span behind dst->data.
 * Returns    KDZK_STATUS_OK, KDZK_STATUS_NO_HIT, or KDZK_STATUS_NOT_HASHES (nothing written). */
uint64_t kdzk_bloom_dydi(kdzk_vec *dst, const kdzk_vec *src, const kdzk_pred *filter, kdzk_exec_ctx *ctx);

/* ---------------------------------------------------------------------------------------------------------------------
 * The layout is fixed: hosts and libraries of different builds meet in one process.
 * ------------------------------------------------------------------------------------------------------------------ */

#if defined(__cplusplus) && __cplusplus >= 201103L
#define KDZK_STATIC_ASSERT(condition, name) static_assert(condition, #name)
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define KDZK_STATIC_ASSERT(condition, name) _Static_assert(condition, #name)
#else
#define KDZK_STATIC_ASSERT(condition, name) typedef char kdzk_assert_##name[(condition) ? 1 : -1]
#endif
#define KDZK_OFFSET(record, field, offset) KDZK_STATIC_ASSERT(offsetof(record, field) == (offset), record##_##field)
#define KDZK_SIZE(record, size) KDZK_STATIC_ASSERT(sizeof(record) == (size), record##_size)

KDZK_OFFSET(kdzk_vec, data, 0);
KDZK_OFFSET(kdzk_vec, lens, 8);
KDZK_OFFSET(kdzk_vec, row_flags, 16);
KDZK_OFFSET(kdzk_vec, enc_ctx, 24);
KDZK_OFFSET(kdzk_vec, filter_bv, 32);
KDZK_OFFSET(kdzk_vec, res_bv, 40);
KDZK_OFFSET(kdzk_vec, hit_count, 48);
KDZK_OFFSET(kdzk_vec, row_count, 52);
KDZK_OFFSET(kdzk_vec, decomp_len, 56);
KDZK_OFFSET(kdzk_vec, decomp_slot, 64);
KDZK_OFFSET(kdzk_vec, alloc_arg, 72);
KDZK_SIZE(kdzk_vec, 80);

KDZK_OFFSET(kdzk_enc_ctx, sym_data, 0);
KDZK_OFFSET(kdzk_enc_ctx, sym_len_be, 8);
KDZK_OFFSET(kdzk_enc_ctx, sym_off_be, 16);
KDZK_OFFSET(kdzk_enc_ctx, dict_kind, 24);
KDZK_OFFSET(kdzk_enc_ctx, run_lens, 32);
KDZK_OFFSET(kdzk_enc_ctx, run_count, 40);
KDZK_OFFSET(kdzk_enc_ctx, run_offs_be, 48);
KDZK_OFFSET(kdzk_enc_ctx, bloom_partitioned, 56);
KDZK_OFFSET(kdzk_enc_ctx, bloom_mask, 60);
KDZK_OFFSET(kdzk_enc_ctx, bloom_shift, 64);
KDZK_OFFSET(kdzk_enc_ctx, bloom_part_mask, 68);
KDZK_OFFSET(kdzk_enc_ctx, flags, 72);
KDZK_OFFSET(kdzk_enc_ctx, width, 76);
KDZK_SIZE(kdzk_enc_ctx, 80);

KDZK_OFFSET(kdzk_exec_ctx, host, 0);
KDZK_OFFSET(kdzk_exec_ctx, sel_bv, 8);
KDZK_OFFSET(kdzk_exec_ctx, bloom_negate, 16);
KDZK_OFFSET(kdzk_exec_ctx, selective, 20);
KDZK_OFFSET(kdzk_exec_ctx, wide_codes, 24);
KDZK_OFFSET(kdzk_exec_ctx, row_pos, 28);
KDZK_OFFSET(kdzk_exec_ctx, row_list, 32);
KDZK_OFFSET(kdzk_exec_ctx, row_list_len, 40);
KDZK_OFFSET(kdzk_exec_ctx, start_row, 44);
KDZK_OFFSET(kdzk_exec_ctx, flags, 48);
KDZK_SIZE(kdzk_exec_ctx, 56);

KDZK_OFFSET(kdzk_env, err_handle, 0);
KDZK_OFFSET(kdzk_host_env, env, 0);
KDZK_OFFSET(kdzk_host_env, heap, 8);
KDZK_OFFSET(kdzk_host_env, alloc, 16);
KDZK_OFFSET(kdzk_host_env, stream_alloc, 24);
KDZK_OFFSET(kdzk_host_env, stream_free, 32);
KDZK_OFFSET(kdzk_host_env, ypak_decode, 40);
KDZK_SIZE(kdzk_host_env, 48);

KDZK_OFFSET(kdzk_ypak_ctx, env, 0);
KDZK_OFFSET(kdzk_ypak_ctx, heap, 8);
KDZK_OFFSET(kdzk_ypak_ctx, stream_alloc, 16);
KDZK_OFFSET(kdzk_ypak_ctx, stream_free, 24);
KDZK_SIZE(kdzk_ypak_ctx, 32);

KDZK_OFFSET(kdzk_lbiv_ictx, next, 0);
KDZK_OFFSET(kdzk_lbiv_ictx, nbits, 8);
KDZK_OFFSET(kdzk_lbiv_ictx, word_base, 12);
KDZK_OFFSET(kdzk_lbiv_ictx, bit_pos, 16);
KDZK_OFFSET(kdzk_lbiv_ictx, cur, 24);
KDZK_SIZE(kdzk_lbiv_ictx, 32);

KDZK_OFFSET(kdzk_bloom_span, first_row, 0);
KDZK_OFFSET(kdzk_bloom_span, last_row, 4);
KDZK_SIZE(kdzk_bloom_span, 8);

KDZK_SIZE(kdzk_kernel, 8);

#undef KDZK_SIZE
#undef KDZK_OFFSET
#undef KDZK_STATIC_ASSERT
#undef KDZK_CONSTEXPR

#ifdef __cplusplus
}
#endif

#endif
