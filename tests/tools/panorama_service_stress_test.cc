// The panorama service under many clients at once: maps made on first use by racing requests,
// faults counted across threads, the log and its limit.
#include <httplib.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "panorama_service.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaService;
using cli::serve::StreetPanoramas;

// A grid of 4 x 4 streets, 200 m each, crossing at every node.
std::shared_ptr<const StreetPanoramas> Grid() {
  std::vector<cli::serve::Street> streets;
  auto node = [](int row, int col) { return cli::serve::StreetNode{row * 10 + col + 1, 0.0018 * row, 0.0018 * col}; };
  for (int k = 0; k < 4; ++k) {
    cli::serve::Street across{100 + k, "residential", "Row " + std::to_string(k), "", {}};
    cli::serve::Street down{200 + k, "secondary", "Column " + std::to_string(k), "", {}};
    for (int m = 0; m < 4; ++m) {
      across.nodes.push_back(node(k, m));
      down.nodes.push_back(node(m, k));
    }
    streets.push_back(across);
    streets.push_back(down);
  }
  std::string error;
  return StreetPanoramas::Build(streets, {}, &error);
}

TEST(PanoramaServiceStressTest, ManyClientsAtOnce) {
  const auto set = Grid();
  ASSERT_TRUE(set);
  cli::serve::PanoramaServiceOptions options;
  options.threads = 4;
  options.garbage_every = 7;
  options.log_limit = 100;
  std::atomic<int> logged{0};
  PanoramaService service(set, options, [&](const cli::serve::RequestLogEntry&) { ++logged; });
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;

  constexpr int kClients = 6, kRequests = 40;
  std::atomic<int> ok{0}, garbage{0};
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      httplib::Client client("127.0.0.1", service.port());
      for (int r = 0; r < kRequests; ++r) {
        // Every client starts on the same few ids, whose pano maps are made by the first to ask.
        const std::string id = set->panorama((r * 7 + (r < 5 ? 0 : c)) % set->size()).id;
        const std::string target = r % 3 == 0 ? "/mlk?output=xml&panoid=" + id + "&dm=1&pm=1"
                                   : r % 3 == 1 ? "/mlk?output=metatile&x=32768&y=32767&zoom=16"
                                                : "/mlk?output=xml&ll=0.003,0.003&radius=200&pm=1";
        const auto res = client.Get(target);
        if (!res || res->status != 200) continue;
        ++(res->body.ends_with("not XML &") ? garbage : ok);
      }
    });
  }
  for (std::thread& t : clients) t.join();
  service.Stop();
  EXPECT_EQ(kClients * kRequests, ok + garbage);
  EXPECT_EQ(kClients * kRequests / 7, garbage.load());
  EXPECT_EQ(kClients * kRequests, logged.load());
  const auto log = service.request_log();
  ASSERT_EQ(100u, log.size());  // the latest, in the order they were answered
  std::set<uint64_t> numbers;
  for (const auto& entry : log) numbers.insert(entry.number);
  EXPECT_EQ(100u, numbers.size());
  EXPECT_EQ(static_cast<uint64_t>(kClients * kRequests), *numbers.rbegin());
}

}  // namespace
}  // namespace vistara::testing
