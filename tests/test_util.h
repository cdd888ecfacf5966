// Helpers shared by the tests: capturing reports, hex, damaging byte strings, seeded randomness,
// files and commands in a scratch folder.
#ifndef VISTARA_TESTS_TEST_UTIL_H_
#define VISTARA_TESTS_TEST_UTIL_H_

#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

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

// "53 45 01" (blanks and line breaks ignored) -> bytes.
inline std::string FromHex(const std::string& hex) {
  std::string out, digits;
  for (char c : hex) {
    if (std::isxdigit(static_cast<unsigned char>(c))) digits.push_back(c);
  }
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    out.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  }
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
inline std::string SetBytes(std::string s, size_t at, const std::string& bytes) {
  if (at + bytes.size() > s.size()) s.resize(at + bytes.size());
  s.replace(at, bytes.size(), bytes);
  return s;
}

// A generator whose seed every failure in its scope prints. The seed is random unless given, or
// unless VISTARA_TEST_SEED is set, which replays a failure: VISTARA_TEST_SEED=1234 ctest -R ...
class SeededRandom {
 public:
  SeededRandom() : SeededRandom(DefaultSeed()) {}
  explicit SeededRandom(uint32_t seed) : seed_(seed), engine_(seed), trace_(__FILE__, __LINE__, seed_text()) {}
  std::mt19937& engine() { return engine_; }
  std::string seed_text() const { return "random seed " + std::to_string(seed_) + " (VISTARA_TEST_SEED)"; }
  int Int(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(engine_); }
  double Double(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(engine_); }

 private:
  static uint32_t DefaultSeed() {
    const char* text = std::getenv("VISTARA_TEST_SEED");
    return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : std::random_device{}();
  }
  uint32_t seed_;
  std::mt19937 engine_;
  ::testing::ScopedTrace trace_;
};

// Calls fn(data, size) for every proper prefix of `bytes`, shortest first, each copied into an
// allocation of exactly its size so that AddressSanitizer sees a read one byte beyond it.
template <class Fn>
void ForEachPrefix(const std::string& bytes, Fn&& fn) {
  for (size_t size = 0; size < bytes.size(); ++size) {
    SCOPED_TRACE("prefix of " + std::to_string(size) + " bytes");
    const std::unique_ptr<char[]> copy(new char[size]);
    std::copy(bytes.data(), bytes.data() + size, copy.get());
    fn(static_cast<const char*>(copy.get()), size);
  }
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

inline void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Runs a shell command line; its standard output goes to *out, and the result is its exit
// status (-1 when it didn't exit normally).
inline int RunShell(const std::string& command, std::string* out) {
  out->clear();
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return -1;
  char buffer[4096];
  for (size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) out->append(buffer, n);
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A scratch folder, named after `prefix` and the process, removed with its contents at the end.
class TempDir {
 public:
  explicit TempDir(const std::string& prefix)
      : path_(std::filesystem::temp_directory_path() / (prefix + std::to_string(getpid()))) {
    std::filesystem::create_directories(path_);
  }
  ~TempDir() { std::filesystem::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_TEST_UTIL_H_
