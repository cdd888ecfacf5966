#include "base/stringprintf.h"

#include <cstdio>

#include "base/logging.h"

namespace vistara::base {

void StringAppendV(std::string* out, const char* format, va_list ap) {
  char space[1024];
  va_list backup;
  va_copy(backup, ap);
  int result = std::vsnprintf(space, sizeof(space), format, backup);
  va_end(backup);
  if (result >= 0 && result < static_cast<int>(sizeof(space))) {
    out->append(space, static_cast<size_t>(result));
    return;
  }
  if (result < 0) return;
  std::string buffer(static_cast<size_t>(result) + 1, '\0');
  va_copy(backup, ap);
  result = std::vsnprintf(buffer.data(), buffer.size(), format, backup);
  va_end(backup);
  if (result >= 0 && static_cast<size_t>(result) < buffer.size()) out->append(buffer.data(), static_cast<size_t>(result));
}

std::string StringPrintf(const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  std::string result;
  StringAppendV(&result, format, ap);
  va_end(ap);
  return result;
}

const std::string& SStringPrintf(std::string* out, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  out->clear();
  StringAppendV(out, format, ap);
  va_end(ap);
  return *out;
}

void StringAppendF(std::string* out, const char* format, ...) {
  va_list ap;
  va_start(ap, format);
  StringAppendV(out, format, ap);
  va_end(ap);
}

// The format comes from the caller at run time, which is what this function is for.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
std::string StringPrintfVector(const char* format, const std::vector<std::string>& v) {
  VS_CHECK_LE(v.size(), kStringPrintfVectorMaxArgs)
      << " StringPrintfVector currently only supports up to " << kStringPrintfVectorMaxArgs << " arguments. "
      << "Feel free to add support for more if you need it.";
  const char* a[kStringPrintfVectorMaxArgs];
  for (size_t i = 0; i < kStringPrintfVectorMaxArgs; ++i) a[i] = i < v.size() ? v[i].c_str() : "";
  return StringPrintf(format, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11], a[12],
                      a[13], a[14], a[15], a[16], a[17], a[18], a[19], a[20], a[21], a[22], a[23], a[24], a[25],
                      a[26], a[27], a[28], a[29], a[30], a[31]);
}
#pragma GCC diagnostic pop

}  // namespace vistara::base
