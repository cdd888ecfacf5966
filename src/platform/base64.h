// Base64 text coding (the standard alphabet with padding), through QByteArray.
#ifndef VISTARA_PLATFORM_BASE64_H_
#define VISTARA_PLATFORM_BASE64_H_

#include <QByteArray>

namespace vistara {

// Decodes NUL-terminated Base64 text. Any character outside the alphabet, or padding in the wrong
// place, makes the whole text bad: the result is then a null QByteArray (isNull()), while a valid
// empty text gives an empty, non-null one. A null `text` gives a null result.
QByteArray Base64Decode(const char* text);
// The same for `size` bytes of text, which need no NUL.
QByteArray Base64Decode(const char* text, qsizetype size);

// The Base64 text of `size` bytes at `data` (null or a negative size encode nothing).
QByteArray Base64Encode(const void* data, int size);

}  // namespace vistara

#endif  // VISTARA_PLATFORM_BASE64_H_
