// The one place where a column's encoding is chosen.
#include "encoding.h"

namespace qvk {

std::unique_ptr<Encoding> choose_encoding(ColumnStage &&stage, uint32_t segment_rows) {
    return stage.few_distinct ? make_dict_encoding(std::move(stage), segment_rows)
                              : make_plain_encoding(std::move(stage), segment_rows);
}

}  // namespace qvk
