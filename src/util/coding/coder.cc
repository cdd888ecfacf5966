#include "util/coding/coder.h"

#include "base/logging.h"

namespace loupe {

char Encoder::kEmptyBuffer = 0;

Encoder::Encoder() : buf_(nullptr), p_(nullptr), limit_(nullptr), underlying_buffer_(&kEmptyBuffer) {}

Encoder::Encoder(void* buffer, size_t size)
    : buf_(static_cast<char*>(buffer)),
      p_(buf_),
      limit_(size == 0 ? buf_ : buf_ + size),
      underlying_buffer_(nullptr) {}

Encoder::~Encoder() {
  if (underlying_buffer_ != &kEmptyBuffer) delete[] underlying_buffer_;
}

void Encoder::EnsureSlowPath(unsigned N) {
  VS_CHECK(ensure_allowed());
  const size_t len = length();
  size_t capacity = len + N;
  if (2 * len > capacity) capacity = 2 * len;
  char* array = new char[capacity];
  // Copied from buf_: for an array of our own it is underlying_buffer_; for a caller's array
  // (the failed check above) this keeps the bytes instead of writing past that array.
  if (len > 0) std::memcpy(array, buf_, len);
  if (underlying_buffer_ != &kEmptyBuffer) delete[] underlying_buffer_;
  buf_ = array;
  underlying_buffer_ = array;
  p_ = buf_ + len;
  limit_ = array + capacity;
  VS_CHECK(avail() >= N);
}

void Encoder::RemoveLast(unsigned N) {
  VS_CHECK(length() >= N);
  // Moving before the start would leave the buffer; the check above has reported it.
  if (length() >= N) p_ -= N;
}

void Encoder::Resize(unsigned N) {
  VS_CHECK(length() >= N);
  // Only shrinks: growing would expose bytes never written.
  if (length() >= N) p_ = buf_ + N;
}

const char* Decoder::GetVarint32Slow(const char* p, const char* limit, uint32_t* v) {
  // Fewer than five bytes: a varint that needs a further byte here fails.
  return Varint::Parse32WithLimit(p, limit, v);
}

bool Decoder::GetVarint64Slow(const char** p, const char* limit, uint64_t* v) {
  if (limit - *p >= Varint::kMax64) {
    const char* r = Varint::Parse64Fallback(*p, v);
    if (r == nullptr) return false;
    *p = r;
    return true;
  }
  // Fewer than ten bytes: the position advances with each byte and stays where a failure
  // leaves it.
  uint64_t result = 0;
  for (int shift = 0; shift < 70; shift += 7) {
    if (*p >= limit) return false;
    const uint64_t b = static_cast<unsigned char>(*(*p)++);
    result |= (b & 127) << shift;
    if (b < 128) {
      *v = result;
      return true;
    }
  }
  return false;
}

}  // namespace loupe
