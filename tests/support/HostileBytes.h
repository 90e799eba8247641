#pragma once

#include <zlib.h>

#include <string>

inline std::string Repeat(const std::string& text, int times) {
    std::string all;
    while (times-- > 0) { all += text; }
    return all;
}

/// A text as the body of an answer with "Content-Encoding: deflate".
inline std::string Deflate(const std::string& text) {
    uLongf length = compressBound(text.size());
    std::string bytes(length, '\0');
    compress(reinterpret_cast<Bytef*>(bytes.data()), &length,
             reinterpret_cast<const Bytef*>(text.data()), text.size());
    return bytes.substr(0, length);
}
