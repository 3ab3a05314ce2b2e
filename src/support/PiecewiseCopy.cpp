// SPDX-License-Identifier: Apache-2.0
#include "support/PiecewiseCopy.h"

#include <algorithm>

namespace {

constexpr std::size_t PIECE = 2048;

} // namespace

void AppendInPieces(std::string& text, const char* data, std::size_t size) {
    if (size <= PIECE || size > text.max_size() - text.size()) {
        text.append(data, size); // throws when the text would become too long
        return;
    }
    if (text.capacity() - text.size() < size) {
        text.reserve(std::max(text.size() + size, 2 * text.capacity()));
    }
    for (; size > PIECE; data += PIECE, size -= PIECE) {
        text.append(data, PIECE);
    }
    text.append(data, size);
}

std::string CopyInPieces(const std::string& text) {
    std::string copy;
    AppendInPieces(copy, text.data(), text.size());
    return copy;
}
