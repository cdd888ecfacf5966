// Planet positions per second: the library's drifting-ellipse model beside ERFA's eraPlan94 (the
// planets; its body 3 is the earth-moon barycentre, the earth's peer) and eraMoon98 (the moon),
// on the same 1024 dates spread over 1950-2050.
//
// Each OrbitUtils/<body> benchmark also times its peer and itself in alternating rounds over the
// same dates and reports `x_peer`: how many times faster than the peer the model is (the median of
// 7 rounds), so the ratio comes from one run on the same machine state.
#include <benchmark/benchmark.h>
#include <erfa.h>

#include <algorithm>
#include <chrono>
#include <vector>

#include "platform/date_time.h"
#include "spatial/orbit_manager.h"
#include "spatial/orbit_utils.h"
#include "spatial/solar_system_data.h"

namespace {

namespace ssd = vistara::spatial::solarsystemdata;
using vistara::DateTime;
using vistara::spatial::OrbitUtils;

const std::vector<double>& Dates() {
  static const std::vector<double> dates = [] {
    std::vector<double> d;
    for (int i = 0; i < 1024; ++i) d.push_back(2433282.5 + i * (36525.0 / 1024) + 0.37 * (i % 7));
    return d;
  }();
  return dates;
}

double OursOnce(int body) {
  double sum = 0;
  const vistara::spatial::OrbitalParameters& p = ssd::orbital_parameters[body];
  for (double jd : Dates()) sum += OrbitUtils::CalcRelativePosition(DateTime::FromJulianDate(jd), p).x;
  return sum;
}

double PeerOnce(int body) {
  double sum = 0, pv[2][3];
  for (double jd : Dates()) {
    if (body == ssd::kMoon) eraMoon98(jd, 0.0, pv);
    else eraPlan94(jd, 0.0, body == ssd::kSun ? 3 : body, pv);
    sum += pv[0][0];
  }
  return sum;
}

template <class F>
double Seconds(F f) {
  const auto start = std::chrono::steady_clock::now();
  benchmark::DoNotOptimize(f());
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void BM_OrbitUtils(benchmark::State& state) {
  const int body = static_cast<int>(state.range(0));
  state.SetLabel(ssd::orbit_names_[body].toStdString());
  for (auto _ : state) benchmark::DoNotOptimize(OursOnce(body));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Dates().size()));
  std::vector<double> ratios;
  for (int round = 0; round < 7; ++round) {
    const double peer = Seconds([&] { return PeerOnce(body); });
    const double ours = Seconds([&] { return OursOnce(body); });
    ratios.push_back(peer / ours);
  }
  std::sort(ratios.begin(), ratios.end());
  state.counters["x_peer"] = ratios[3];
}
BENCHMARK(BM_OrbitUtils)->DenseRange(0, 9)->Unit(benchmark::kMicrosecond);

// The same positions asked of the manager by name, relative to the parent: a map lookup for each
// of the two names and the sum along the tree.
void BM_OrbitManager(benchmark::State& state) {
  const int body = static_cast<int>(state.range(0));
  vistara::spatial::OrbitManager manager;
  manager.LoadSolarSystem();
  const QString& name = ssd::orbit_names_[body];
  const QString& parent = ssd::orbital_parameters[body].parent_name;
  state.SetLabel(name.toStdString());
  for (auto _ : state) {
    double sum = 0;
    for (double jd : Dates()) sum += manager.CalcOrbitPosition(name, parent, DateTime::FromJulianDate(jd)).x;
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Dates().size()));
  manager.Clear();
}
BENCHMARK(BM_OrbitManager)->Arg(ssd::kMercury)->Arg(ssd::kMoon)->Unit(benchmark::kMicrosecond);

void BM_EraPlan94(benchmark::State& state) {
  const int np = static_cast<int>(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(PeerOnce(np == 3 ? ssd::kSun : np));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Dates().size()));
}
BENCHMARK(BM_EraPlan94)->DenseRange(1, 8)->Unit(benchmark::kMicrosecond);

void BM_EraMoon98(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(PeerOnce(ssd::kMoon));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(Dates().size()));
}
BENCHMARK(BM_EraMoon98)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
