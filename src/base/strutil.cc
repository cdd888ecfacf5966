#include "base/strutil.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace vistara::base {

int CEscapeString(const char* src, int src_len, char* dest, int dest_len) {
  int used = 0;
  for (int i = 0; i < src_len; ++i) {
    if (dest_len - used < 2) return -1;
    const unsigned char c = static_cast<unsigned char>(src[i]);
    switch (c) {
      case '\n': dest[used++] = '\\'; dest[used++] = 'n'; break;
      case '\r': dest[used++] = '\\'; dest[used++] = 'r'; break;
      case '\t': dest[used++] = '\\'; dest[used++] = 't'; break;
      case '"': dest[used++] = '\\'; dest[used++] = '"'; break;
      case '\'': dest[used++] = '\\'; dest[used++] = '\''; break;
      case '\\': dest[used++] = '\\'; dest[used++] = '\\'; break;
      default:
        if (c < 0x20 || c >= 0x7f) {
          if (dest_len - used < 4) return -1;
          dest[used++] = '\\';
          dest[used++] = static_cast<char>('0' + (c >> 6));
          dest[used++] = static_cast<char>('0' + ((c >> 3) & 7));
          dest[used++] = static_cast<char>('0' + (c & 7));
        } else {
          dest[used++] = static_cast<char>(c);
        }
    }
  }
  if (dest_len - used < 1) return -1;
  dest[used] = '\0';
  return used;
}

std::string CEscape(const std::string& src) {
  const int len = static_cast<int>(src.size());
  std::string dest(static_cast<size_t>(4) * src.size() + 1, '\0');
  const int n = CEscapeString(src.data(), len, dest.data(), static_cast<int>(dest.size()));
  dest.resize(n < 0 ? 0 : static_cast<size_t>(n));
  return dest;
}

void SplitStringAllowEmpty(const std::string& full, const char* delimiters, std::vector<std::string>* result) {
  const std::string delims = delimiters ? delimiters : "";
  size_t start = 0;
  for (;;) {
    const size_t end = full.find_first_of(delims, start);
    if (end == std::string::npos) {
      result->push_back(full.substr(start));
      return;
    }
    result->push_back(full.substr(start, end - start));
    start = end + 1;
  }
}

namespace {
int ClampToInt(long v) {
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}
}  // namespace

int ParseLeadingDec32Value(const char* text, int deflt) {
  if (!text) return deflt;
  char* end = nullptr;
  const int saved = errno;
  const long v = std::strtol(text, &end, 10);
  errno = saved;
  return end == text ? deflt : ClampToInt(v);
}

int strto32_adapter(const char* text, char** end, int base) {
  const int saved = errno;
  errno = 0;
  long v = std::strtol(text, end, base);
  if (v > INT_MAX || v < INT_MIN) errno = ERANGE;
  if (errno == 0) errno = saved;
  return ClampToInt(v);
}

const char* AdvanceIdentifier(const char* text) {
  auto is_alpha = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; };
  auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  if (!text || !is_alpha(*text)) return nullptr;
  ++text;
  while (is_alpha(*text) || is_digit(*text)) ++text;
  return text;
}

bool IsIdentifier(const char* text) {
  const char* end = AdvanceIdentifier(text);
  return end && *end == '\0';
}

}  // namespace vistara::base
