// SPDX-License-Identifier: Apache-2.0
#include "Coded.h"

#include <stdexcept>

#include <zlib.h>

namespace httpclient::http1 {

std::string Compressed(std::string_view text, Format format) {
    const int window = format == Format::Gzip   ? MAX_WBITS + 16
                       : format == Format::Zlib ? MAX_WBITS
                                                : -MAX_WBITS;
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, window, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        throw std::runtime_error("zlib cannot be used");
    }
    std::string coded(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(coded.data());
    stream.avail_out = static_cast<uInt>(coded.size());
    deflate(&stream, Z_FINISH);
    coded.resize(coded.size() - stream.avail_out);
    deflateEnd(&stream);
    return coded;
}

} // namespace httpclient::http1
