// The panorama service under many clients at once: pano maps made on first use by racing
// requests, faults counted across threads, the log and its limit.
#include <httplib.h>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "panorama_service.h"

namespace vistara::testing {
namespace {

TEST(PanoramaServiceStressTest, ManyClientsAtOnce) {
  // A grid of 4 x 4 streets, 200 m each, crossing at every node.
  std::vector<cli::serve::Street> streets;
  for (int k = 0; k < 8; ++k) {
    streets.push_back({k, "residential", "", "", {}});
    for (int m = 0; m < 4; ++m) {
      const int row = k < 4 ? k : m, col = k < 4 ? m : k - 4;
      streets.back().nodes.push_back({row * 4 + col + 1, 0.0018 * row, 0.0018 * col});
    }
  }
  std::string error;
  const std::shared_ptr<const cli::serve::StreetPanoramas> set = cli::serve::StreetPanoramas::Build(streets, {}, &error);
  ASSERT_TRUE(set) << error;
  std::atomic<int> logged{0}, ok{0}, garbage{0};
  cli::serve::PanoramaService service(set, {.threads = 4, .garbage_every = 7, .log_limit = 100},
                                      [&](const cli::serve::RequestLogEntry&) { ++logged; });
  ASSERT_TRUE(service.Start(&error)) << error;

  constexpr int kClients = 6, kRequests = 40;
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&, c] {
      httplib::Client client("127.0.0.1", service.port());
      for (int r = 0; r < kRequests; ++r) {
        // Every client starts on the same ids, whose pano maps the first to ask makes.
        const std::string id = set->panorama((r * 7 + (r < 6 ? 0 : c)) % set->size()).id;
        const auto res = client.Get(r % 3 == 0   ? "/mlk?output=xml&panoid=" + id + "&dm=1&pm=1"
                                    : r % 3 == 1 ? "/mlk?output=metatile&x=32768&y=32767&zoom=16"
                                                 : "/mlk?output=xml&ll=0.003,0.003&radius=200&pm=1");
        if (res && res->status == 200) ++(res->body.ends_with("not XML &") ? garbage : ok);
      }
    });
  }
  for (std::thread& t : clients) t.join();
  service.Stop();
  EXPECT_EQ(std::make_tuple(kClients * kRequests - kClients * kRequests / 7, kClients * kRequests / 7, kClients * kRequests),
            std::make_tuple(ok.load(), garbage.load(), logged.load()));
  std::set<uint64_t> numbers;  // the latest hundred, in the order they were answered
  for (const auto& entry : service.request_log()) numbers.insert(entry.number);
  EXPECT_EQ(100u, numbers.size());
  EXPECT_EQ(static_cast<uint64_t>(kClients * kRequests), *numbers.rbegin());
}

}  // namespace
}  // namespace vistara::testing
