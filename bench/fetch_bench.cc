// Panorama metadata fetched over a loopback panorama service (West Oakland, 864 panoramas, in this
// process), through the library and through bare libcurl on the same URLs at the same concurrency.
//
//   Library/{id,position,tile}  every panorama from the request to PanoGraph::AddPano, through a
//                               fresh PanoGraph and PanoramaFetchManager: FetchMetaData by id (with
//                               depth and pano maps), FetchNearestMetaData at each panorama's
//                               position (maps too; tiles off), FetchMetaData for each zoom-16 tile
//   Curl/{id,position,tile}     libcurl multi on the same URLs, at most 8 connections at once (the
//                               library backend's per-host limit), connections kept between runs as
//                               the backend keeps them; the bodies are gathered, nothing is parsed
//   Parse/{id,position,tile}    PanoramaXMLParser::Parse of the same replies on one thread: what the
//                               library's one worker thread does beyond the transport
// items_per_second is panoramas per second; cpu_us is the whole process's CPU time (the service's
// threads included) per panorama, over the whole run (a library run's making and unmaking of the
// graph included).
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "osm_streets.h"
#include "panorama_service.h"
#include "spatial/panorama_fetch_manager.h"
#include "spatial/panorama_xml_parser.h"
#include "street_panoramas.h"

namespace {

using vistara::spatial::MapTile;
using vistara::spatial::PanoGraph;
using vistara::spatial::PanoramaFetchManager;
using vistara::spatial::WayfareSpatialOptions;

enum Form { kId, kPosition, kTile };
constexpr int kConnections = 8;
constexpr double kPositionRadius = 1;  // metres: each position's own panorama

struct Service {
  std::shared_ptr<const vistara::cli::serve::StreetPanoramas> set;
  std::unique_ptr<vistara::cli::serve::PanoramaService> service;
  std::vector<MapTile> tiles;
  std::vector<std::string> urls[3];  // by form, as the library makes them
  std::vector<std::string> bodies[3];
};

const Service& TheService() {
  static Service* s = [] {
    auto* s = new Service;
    std::vector<vistara::cli::serve::Street> streets;
    std::string error;
    if (!vistara::cli::serve::ReadStreets(VISTARA_WEST_OAKLAND_OSM, &streets, &error)) return s;
    s->set.reset(vistara::cli::serve::StreetPanoramas::Build(streets, {}, &error).release());
    s->service = std::make_unique<vistara::cli::serve::PanoramaService>(s->set, vistara::cli::serve::PanoramaServiceOptions{});
    if (!s->service->Start(&error)) return s;
    WayfareSpatialOptions::s_settings_.metaDataFetchServer = QString::fromStdString(s->service->url());
    vistara::spatial::PanoramaFetcher urls;
    for (size_t i = 0; i < s->set->size(); ++i) {
      const auto& p = s->set->panorama(i);
      s->urls[kId].push_back(urls.CreateUrl(QString::fromStdString(p.id)).toString().toStdString());
      s->urls[kPosition].push_back(urls.CreateUrl(p.lat, p.lon, kPositionRadius, QString()).toString().toStdString());
      const MapTile tile(p.lat, p.lon, WayfareSpatialOptions::s_settings_.metaDataTileZoomLevel);
      if (std::find(s->tiles.begin(), s->tiles.end(), tile) == s->tiles.end()) {
        s->tiles.push_back(tile);
        s->urls[kTile].push_back(urls.CreateUrl(tile).toString().toStdString());
      }
    }
    return s;
  }();
  return *s;
}

double ProcessCpuSeconds() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
}

void Report(benchmark::State& state, size_t panoramas, double cpu_seconds) {
  const double n = static_cast<double>(panoramas) * static_cast<double>(state.iterations());
  state.SetItemsProcessed(static_cast<int64_t>(n));
  state.counters["cpu_us"] = cpu_seconds * 1e6 / n;
}

void Library(benchmark::State& state, Form form) {
  const Service& s = TheService();
  if (!s.service) return state.SkipWithError("no service");
  auto& settings = WayfareSpatialOptions::s_settings_;
  // By position, only positions are asked for: with tiles on, the seventh call in a tile asks for it.
  settings.fetchMetadataTiles.PushSetting();
  settings.fetchMetadataTiles = false;
  int processed = settings.numMetaDataPanosProcessed;
  const double cpu = ProcessCpuSeconds();
  for (auto _ : state) {
    // A host makes these once: their making and unmaking stay out of the time.
    state.PauseTiming();
    auto graph = std::make_unique<PanoGraph>();
    auto manager = std::make_unique<PanoramaFetchManager>(graph.get());
    state.ResumeTiming();
    for (size_t i = 0; i < s.set->size(); ++i) {
      const auto& p = s.set->panorama(i);
      if (form == kId) manager->fetcher()->FetchMetaData(QString::fromStdString(p.id), manager.get());
      if (form == kPosition) manager->FetchNearestMetaData(p.lat, p.lon, kPositionRadius);
    }
    if (form == kTile) {
      for (const MapTile& t : s.tiles) manager->fetcher()->FetchMetaData(t, manager.get());
    }
    if (!manager->WaitUntilIdle(60000)) return state.SkipWithError("not idle after 60 s");
    state.PauseTiming();
    manager.reset();
    graph.reset();
    if (settings.numMetaDataPanosProcessed - processed != static_cast<int>(s.set->size())) {
      return state.SkipWithError("panoramas missing from the graph");
    }
    processed = settings.numMetaDataPanosProcessed;
    state.ResumeTiming();
  }
  Report(state, s.set->size(), ProcessCpuSeconds() - cpu);
  settings.fetchMetadataTiles.PopSetting();
}

size_t Gather(char* data, size_t size, size_t count, void* body) {
  static_cast<std::string*>(body)->append(data, size * count);
  return size * count;
}

// Fetches every URL on `multi`, at most kConnections at once; the bodies in URL order. False if a
// request failed.
bool FetchAll(CURLM* multi, const std::vector<std::string>& urls, std::vector<std::string>* bodies) {
  bodies->assign(urls.size(), std::string());
  for (size_t i = 0; i < urls.size(); ++i) {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_URL, urls[i].c_str());
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Gather);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &(*bodies)[i]);
    curl_multi_add_handle(multi, easy);
  }
  bool ok = true;
  for (int running = 1; running > 0;) {
    curl_multi_perform(multi, &running);
    if (running > 0) curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    int left = 0;
    while (CURLMsg* m = curl_multi_info_read(multi, &left)) {
      long code = 0;
      curl_easy_getinfo(m->easy_handle, CURLINFO_RESPONSE_CODE, &code);
      ok &= m->data.result == CURLE_OK && code == 200;
      curl_multi_remove_handle(multi, m->easy_handle);
      curl_easy_cleanup(m->easy_handle);
    }
  }
  return ok;
}

CURLM* NewMulti() {
  CURLM* multi = curl_multi_init();
  curl_multi_setopt(multi, CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(kConnections));
  return multi;
}

void Curl(benchmark::State& state, Form form) {
  const Service& s = TheService();
  if (!s.service) return state.SkipWithError("no service");
  const auto& urls = s.urls[form];
  CURLM* multi = NewMulti();
  std::vector<std::string> bodies;
  const double cpu = ProcessCpuSeconds();
  for (auto _ : state) {
    if (!FetchAll(multi, urls, &bodies)) return state.SkipWithError("a request failed");
  }
  Report(state, s.set->size(), ProcessCpuSeconds() - cpu);
  curl_multi_cleanup(multi);
}

void Parse(benchmark::State& state, Form form) {
  const Service& s = TheService();
  if (!s.service) return state.SkipWithError("no service");
  const auto& urls = s.urls[form];
  CURLM* multi = NewMulti();
  std::vector<std::string> bodies;
  const bool fetched = FetchAll(multi, urls, &bodies);
  curl_multi_cleanup(multi);
  if (!fetched) return state.SkipWithError("a request failed");
  std::vector<QByteArray> replies;
  for (const std::string& b : bodies) replies.push_back(QByteArray::fromStdString(b));
  size_t records = 0;
  const double cpu = ProcessCpuSeconds();
  for (auto _ : state) {
    records = 0;
    for (const QByteArray& reply : replies) {
      vistara::mmvector<vistara::RefPtr<vistara::spatial::PanoramaData>> out;
      vistara::spatial::PanoramaXMLParser::Parse(reply, &out);
      records += out.size();
    }
  }
  if (records != s.set->size()) return state.SkipWithError("replies lost panoramas");
  Report(state, records, ProcessCpuSeconds() - cpu);
}

}  // namespace

int main(int argc, char** argv) {
  const char* const kForms[] = {"id", "position", "tile"};
  for (const auto& [name, run] : {std::pair("Library/", &Library), {"Curl/", &Curl}, {"Parse/", &Parse}}) {
    for (int form : {kId, kPosition, kTile}) {
      benchmark::RegisterBenchmark((name + std::string(kForms[form])).c_str(), run, static_cast<Form>(form))
          ->UseRealTime()
          ->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
