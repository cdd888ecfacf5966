// Reads a sequence of binary-stream fields chosen by the input, then runs every varint parser
// over the same bytes. Input: byte 0 = n, the next n bytes are the field script (one byte a
// field: kind = b % 10, parameter = b / 10), the rest is the stream.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "diorama/binary_coder.h"
#include "util/coding/bitcoding.h"
#include "util/coding/coder.h"
#include "util/coding/varint.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  size_t n = data[0];
  if (n > size - 1) n = size - 1;
  const uint8_t* script = data + 1;
  const char* stream = reinterpret_cast<const char*>(data + 1 + n);
  const size_t stream_size = size - 1 - n;

  loupe::BinaryDecoder d;
  d.Init(stream, static_cast<int>(stream_size));
  for (size_t i = 0; i < n; ++i) {
    const int param = script[i] / 10;  // 0..25
    switch (script[i] % 10) {
      case 0: d.ReadBits(param + 7); break;  // 7..32
      case 1: d.ReadInt(param); break;
      case 2: d.ReadVarUInt(param % 2 ? 1 : 4); break;
      case 3: d.ReadVarInt(param % 2 ? 1 : 4); break;
      case 4: d.ReadFloat(); break;
      case 5: d.ReadDouble(); break;
      case 6: d.ReadString(param + 7); break;
      case 7: d.ReadVarString(param % 2 ? 1 : 4); break;
      case 8: d.ReadVarUInt(param + 1); break;  // group sizes no format uses
      default: d.ReadBits(param); break;
    }
    if (static_cast<size_t>(d.BytesDecoded()) > stream_size) abort();
  }

  loupe::BitDecoder bd(stream, stream_size);
  uint32_t g = 0;
  while (bd.GetGamma(&g)) {
    if (g == 0) abort();
  }

  // Forward: every parser agrees with the bounded decoder on where a varint ends.
  loupe::Decoder dec(stream, stream_size);
  const char* p = stream;
  const char* limit = stream + stream_size;
  while (p < limit) {
    uint64_t v64 = 0, w64 = 0;
    const char* next = loupe::Varint::Parse64WithLimit(p, limit, &v64);
    if (next == nullptr) break;
    if (!dec.get_varint64(&w64) || w64 != v64 || dec.ptr() != next) abort();
    uint32_t v32 = 0;
    loupe::Varint::Parse32WithLimit(p, limit, &v32);
    if (limit - p >= loupe::Varint::kMax64) {
      uint32_t a = 0, b = 0;
      loupe::Varint::DecodeTwo32ValuesSlow(p, &a, &b);
    }
    // Re-encoding the value gives a varint no longer than what was read.
    char buf[loupe::Varint::kMax64];
    if (loupe::Varint::Encode64(buf, v64) - buf > next - p) abort();
    p = next;
  }
  loupe::Decoder dec32(stream, stream_size);
  uint32_t v = 0;
  while (dec32.get_varint32(&v)) {
  }
  // Backward from the end.
  const char* q = limit;
  while (q > stream) {
    uint32_t b32 = 0;
    uint64_t b64 = 0;
    loupe::Varint::Parse32BackwardSlow(q, stream, &b32);
    const char* start = loupe::Varint::Parse64BackwardSlow(q, stream, &b64);
    if (start == nullptr) break;
    if (start != loupe::Varint::Skip64BackwardSlow(q, stream)) abort();
    q = start;
  }
  return 0;
}
