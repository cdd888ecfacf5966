// A QString as NUL-terminated UTF-8 for comparing with the parser's names, without a heap block
// for the short ASCII names and paths that the XML interface is asked about.
#ifndef VISTARA_PLATFORM_XML_XML_UTF8_NAME_H_
#define VISTARA_PLATFORM_XML_XML_UTF8_NAME_H_

#include <QByteArray>
#include <QString>

namespace vistara::xml_internal {

// Whether two NUL-terminated names are equal. Names are short; a plain loop beats a call.
inline bool SameName(const char* a, const char* b) {
  while (*a && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

class Utf8Name {
 public:
  explicit Utf8Name(const QString& text) {
    const qsizetype size = text.size();
    const QChar* chars = text.constData();
    if (size < static_cast<qsizetype>(sizeof inline_)) {
      qsizetype i = 0;
      for (; i < size && chars[i].unicode() < 0x80 && chars[i].unicode() != 0; ++i) {
        inline_[i] = static_cast<char>(chars[i].unicode());
      }
      if (i == size) {
        inline_[size] = '\0';
        data_ = inline_;
        return;
      }
    }
    heap_ = text.toUtf8();
    data_ = heap_.data();
    // A NUL would end the text early for strcmp; no XML name holds one, so nothing may match.
    valid_ = !heap_.contains('\0');
  }
  Utf8Name(const Utf8Name&) = delete;
  Utf8Name& operator=(const Utf8Name&) = delete;

  // Writable, so that a path can be cut into steps in place.
  char* data() { return data_; }
  const char* c_str() const { return data_; }
  // False for a text with a NUL character, which matches no name.
  bool valid() const { return valid_; }

 private:
  char inline_[128];
  QByteArray heap_;
  char* data_;
  bool valid_ = true;
};

}  // namespace vistara::xml_internal

#endif  // VISTARA_PLATFORM_XML_XML_UTF8_NAME_H_
