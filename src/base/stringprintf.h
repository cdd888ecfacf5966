// printf-style formatting into std::string.
#ifndef VISTARA_BASE_STRINGPRINTF_H_
#define VISTARA_BASE_STRINGPRINTF_H_

#include <cstdarg>
#include <string>
#include <vector>

namespace vistara::base {

// The formatted text. Any length; a format error gives what was appended before it (empty).
std::string StringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Replaces `*out` with the formatted text.
const std::string& SStringPrintf(std::string* out, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
// Appends the formatted text to `*out`.
void StringAppendF(std::string* out, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Appends the formatted text to `*out`: formats into a 1024-byte buffer first and, when the text
// needs more, once more into a buffer of exactly its size plus 1. A format error appends nothing.
void StringAppendV(std::string* out, const char* format, va_list ap);

inline constexpr int kStringPrintfVectorMaxArgs = 32;
// Formats with the strings of `v` as the first arguments of `format` (each a %s) and the empty
// string for the rest of 32. More than 32 strings fail a check; the text is then formatted with
// the first 32.
std::string StringPrintfVector(const char* format, const std::vector<std::string>& v);

}  // namespace vistara::base

#endif  // VISTARA_BASE_STRINGPRINTF_H_
