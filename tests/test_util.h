// Helpers shared by the tests: capturing reports, reading test data, damaging byte strings.
#ifndef VISTARA_TESTS_TEST_UTIL_H_
#define VISTARA_TESTS_TEST_UTIL_H_

#include <cstdint>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "base/logging.h"

namespace vistara::testing {

// Installs itself as the log sink for its lifetime and keeps every report.
class ScopedLogCapture : public base::LogSink {
 public:
  ScopedLogCapture() : previous_(base::SetLogSink(this)) {}
  ~ScopedLogCapture() override { base::SetLogSink(previous_); }
  void Send(const base::LogReport& report) override {
    std::lock_guard<std::mutex> lock(mutex_);
    reports_.push_back(report);
  }
  std::vector<base::LogReport> reports() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return reports_;
  }
  std::vector<std::string> texts() const {
    std::vector<std::string> out;
    for (const auto& r : reports()) out.push_back(r.text);
    return out;
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    reports_.clear();
  }

 private:
  base::LogSink* previous_;
  mutable std::mutex mutex_;
  std::vector<base::LogReport> reports_;
};

// The bytes of a file below tests/data/.
inline std::string ReadTestData(const std::string& name) {
  std::ifstream in(std::string(VISTARA_TEST_DATA_DIR) + "/" + name, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

// "53 45 01" (blanks and line breaks ignored) -> bytes.
inline std::string FromHex(const std::string& hex) {
  std::string out, digits;
  for (char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c))) digits.push_back(c);
  }
  for (size_t i = 0; i + 1 < digits.size(); i += 2) out.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return out;
}

inline std::string ToHex(const std::string& bytes) {
  static const char* const kDigits = "0123456789ABCDEF";
  std::string out;
  for (size_t i = 0; i < bytes.size(); ++i) {
    if (i) out.push_back(' ');
    out.push_back(kDigits[static_cast<unsigned char>(bytes[i]) >> 4]);
    out.push_back(kDigits[static_cast<unsigned char>(bytes[i]) & 15]);
  }
  return out;
}

// Corruptions for decoder tests.
inline std::string FlipByte(std::string s, size_t at, uint8_t mask = 0xFF) {
  if (at < s.size()) s[at] = static_cast<char>(s[at] ^ mask);
  return s;
}
inline std::string Truncate(std::string s, size_t size) {
  if (size < s.size()) s.resize(size);
  return s;
}
inline std::string SetBytes(std::string s, size_t at, const std::string& bytes) {
  if (at + bytes.size() > s.size()) s.resize(at + bytes.size());
  s.replace(at, bytes.size(), bytes);
  return s;
}

// A generator whose seed the failing test prints: SCOPED_TRACE(rng.seed_text()).
class SeededRandom {
 public:
  explicit SeededRandom(uint32_t seed = std::random_device{}()) : seed_(seed), engine_(seed) {}
  std::mt19937& engine() { return engine_; }
  uint32_t seed() const { return seed_; }
  std::string seed_text() const { return "random seed " + std::to_string(seed_); }
  int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(engine_); }
  double Double(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(engine_); }

 private:
  uint32_t seed_;
  std::mt19937 engine_;
};

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_TEST_UTIL_H_
