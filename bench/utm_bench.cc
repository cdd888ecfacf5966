// UTM forward and inverse: UTMZone beside PROJ's proj_trans and GeographicLib's UTMUPS, on the
// same points of zone 31 north. Counters: points per second, and "vs_proj" / "vs_geographiclib",
// how many times faster ours ran than the peer in a side-by-side timing of the same points.
#include <GeographicLib/UTMUPS.hpp>
#include <benchmark/benchmark.h>
#include <proj.h>

#include <ctime>
#include <cmath>
#include <random>
#include <vector>

#include "base/utmzone.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Points {
  std::vector<double> lat, lng, x, y;
};

const Points& TestPoints() {
  static const Points points = [] {
    Points p;
    std::mt19937 rng(31);
    std::uniform_real_distribution<double> lat(0.5, 83.5), lng(0.0, 6.0);
    const marlin::UTMZone zone(31, 'U');
    for (int i = 0; i < 4096; ++i) {
      p.lat.push_back(lat(rng));
      p.lng.push_back(lng(rng));
      double x, y;
      zone.LatLngToLocal(p.lat.back(), p.lng.back(), &x, &y);
      p.x.push_back(x);
      p.y.push_back(y);
    }
    return p;
  }();
  return points;
}

struct Proj {
  PJ_CONTEXT* ctx = proj_context_create();
  PJ* pj = proj_create(ctx, "+proj=utm +zone=31 +ellps=WGS84");
  ~Proj() {
    proj_destroy(pj);
    proj_context_destroy(ctx);
  }
};

Proj& ProjUtm() {
  static Proj proj;
  return proj;
}

// One pass over the points in each direction, summed so that nothing is optimised away.
double OursForward(const Points& p) {
  static const marlin::UTMZone zone(31, 'U');
  double sum = 0;
  for (size_t i = 0; i < p.lat.size(); ++i) {
    double x, y;
    zone.LatLngToLocal(p.lat[i], p.lng[i], &x, &y);
    sum += x + y;
  }
  return sum;
}
double OursInverse(const Points& p) {
  static const marlin::UTMZone zone(31, 'U');
  double sum = 0;
  for (size_t i = 0; i < p.x.size(); ++i) {
    double lat, lng;
    zone.LocalToLatLng(p.x[i], p.y[i], &lat, &lng);
    sum += lat + lng;
  }
  return sum;
}
double ProjForward(const Points& p) {
  double sum = 0;
  for (size_t i = 0; i < p.lat.size(); ++i) {
    const PJ_COORD c = proj_trans(ProjUtm().pj, PJ_FWD, proj_coord(p.lng[i] * kPi / 180, p.lat[i] * kPi / 180, 0, 0));
    sum += c.enu.e + c.enu.n;
  }
  return sum;
}
double ProjInverse(const Points& p) {
  double sum = 0;
  for (size_t i = 0; i < p.x.size(); ++i) {
    const PJ_COORD c = proj_trans(ProjUtm().pj, PJ_INV, proj_coord(p.x[i], p.y[i], 0, 0));
    sum += c.lp.lam + c.lp.phi;
  }
  return sum;
}
double GeographicLibForward(const Points& p) {
  double sum = 0;
  for (size_t i = 0; i < p.lat.size(); ++i) {
    int zone;
    bool north;
    double x, y;
    GeographicLib::UTMUPS::Forward(p.lat[i], p.lng[i], zone, north, x, y, 31);
    sum += x + y;
  }
  return sum;
}
double GeographicLibInverse(const Points& p) {
  double sum = 0;
  for (size_t i = 0; i < p.x.size(); ++i) {
    double lat, lng;
    GeographicLib::UTMUPS::Reverse(31, true, p.x[i], p.y[i], lat, lng);
    sum += lat + lng;
  }
  return sum;
}

double ThreadCpuNs() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return t.tv_sec * 1e9 + t.tv_nsec;
}

// CPU nanoseconds per point of `pass`, the best of a few timed rounds (CPU time, so that other
// work on a shared machine counts less).
double NsPerPoint(double (*pass)(const Points&)) {
  const Points& p = TestPoints();
  double best = 1e300;
  for (int round = 0; round < 7; ++round) {
    const double start = ThreadCpuNs();
    for (int i = 0; i < 10; ++i) benchmark::DoNotOptimize(pass(p));
    best = std::min(best, (ThreadCpuNs() - start) / (10.0 * p.lat.size()));
  }
  return best;
}

void Run(benchmark::State& state, double (*pass)(const Points&), double (*proj)(const Points&),
         double (*geographiclib)(const Points&)) {
  const Points& p = TestPoints();
  for (auto _ : state) benchmark::DoNotOptimize(pass(p));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(p.lat.size()));
  if (proj) {
    const double ours = NsPerPoint(pass);
    state.counters["ns_per_point"] = ours;
    state.counters["vs_proj"] = NsPerPoint(proj) / ours;
    state.counters["vs_geographiclib"] = NsPerPoint(geographiclib) / ours;
  }
}

void BM_UTMZoneForward(benchmark::State& s) { Run(s, OursForward, ProjForward, GeographicLibForward); }
void BM_UTMZoneInverse(benchmark::State& s) { Run(s, OursInverse, ProjInverse, GeographicLibInverse); }
void BM_ProjForward(benchmark::State& s) { Run(s, ProjForward, nullptr, nullptr); }
void BM_ProjInverse(benchmark::State& s) { Run(s, ProjInverse, nullptr, nullptr); }
void BM_GeographicLibForward(benchmark::State& s) { Run(s, GeographicLibForward, nullptr, nullptr); }
void BM_GeographicLibInverse(benchmark::State& s) { Run(s, GeographicLibInverse, nullptr, nullptr); }

BENCHMARK(BM_UTMZoneForward);
BENCHMARK(BM_ProjForward);
BENCHMARK(BM_GeographicLibForward);
BENCHMARK(BM_UTMZoneInverse);
BENCHMARK(BM_ProjInverse);
BENCHMARK(BM_GeographicLibInverse);

}  // namespace

BENCHMARK_MAIN();
