#include "platform/system.h"

#include <chrono>
#include <random>

namespace vistara {

int System::Random(int low, int high) {
  if (high <= low) return low;
  thread_local std::mt19937 generator{std::random_device{}()};
  // high - 1 cannot overflow: high > low >= INT_MIN.
  return std::uniform_int_distribution<int>(low, high - 1)(generator);
}

namespace {
class SteadyClockSource : public ITimingSource {
 public:
  double GetTime() const override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  }
};
}  // namespace

ITimingSource* ITimingSource::GetDefault() {
  static ITimingSource* source = new SteadyClockSource;
  return source;
}

}  // namespace vistara
