// symbol_table.h: chooses the symbols of a stream.
#pragma once

#include <span>
#include <vector>

#include "encoder.h"
#include "symbol_matcher.h"

namespace qvk {

// One symbol if repeating it gives the data, else one of one byte for each byte value that occurs, and longer ones as
// far as they pay for their place in the table. Never 2 to 4 symbols: their codes would be too short for long streams.
std::vector<Symbol> choose_symbols(std::span<const uint8_t> data, const SymbolSearch &search, StreamForm form);

}  // namespace qvk
