// The one place where a column's encoding is chosen.
//
// With a dictionary, kernels answer the column's predicates. So a small dictionary is taken whatever its size in bytes;
// a larger one where it takes less room than the values as they came, codes included.
#include "code_stream.h"
#include "encoding.h"

namespace qvk {

bool dictionary_pays(const ColumnStage &stage) {
    constexpr size_t kSmallDictionary = 256;
    const size_t values = stage.distinct.size();
    return values <= kSmallDictionary
           || stage.distinct_bytes + packed_bytes(stage.codes.size(), width_for(values)) < stage.plain_bytes;
}

std::unique_ptr<Encoding> choose_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    if (stage.is_coded && dictionary_pays(stage)) {
        return make_dict_encoding(std::move(stage), segment_rows);
    }
    stage.go_plain();
    return make_plain_encoding(std::move(stage), segment_rows);
}

}  // namespace qvk
