// Text helpers: C escapes, splitting, and leading numbers and identifiers.
#ifndef VISTARA_BASE_STRUTIL_H_
#define VISTARA_BASE_STRUTIL_H_

#include <string>
#include <vector>

namespace vistara::base {

// Writes `src` escaped as in C source, then a NUL, to `dest`. Tab, newline and carriage return
// become \t \n \r; " ' and \ get a backslash; other printable ASCII stays; any other byte becomes
// \ and three octal digits. Returns the length without the NUL, or -1 if `dest_len` is too small
// (before each source byte 2 bytes must be free, 4 for the octal form, and 1 more at the end).
int CEscapeString(const char* src, int src_len, char* dest, int dest_len);
std::string CEscape(const std::string& src);

// Splits `full` at every character of `delimiters`, keeping empty pieces: n delimiters give n + 1
// pieces, and the empty text one empty piece. Pieces are appended to `*result`.
void SplitStringAllowEmpty(const std::string& full, const char* delimiters, std::vector<std::string>* result);

// The decimal number at the start of `text` as strtol reads it (leading blanks and a sign
// allowed, anything may follow), or `deflt` when there is none. Out-of-range values are clamped
// to the int range.
int ParseLeadingDec32Value(const char* text, int deflt);

// strtol clamped to the int range, leaving the caller's errno as it was unless this call itself
// failed (ERANGE, or another error strtol reports).
int strto32_adapter(const char* text, char** end, int base);

// If `text` starts with a letter or '_', the position behind the identifier (letters, digits,
// '_') that starts there; otherwise null.
const char* AdvanceIdentifier(const char* text);
// True when all of `text` is one identifier; the empty text is not.
bool IsIdentifier(const char* text);

}  // namespace vistara::base

#endif  // VISTARA_BASE_STRUTIL_H_
