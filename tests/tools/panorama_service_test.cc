// The panorama service over loopback: its queries, every form in any order read back by the
// library's parsers, the faults it injects, and hostile clients.
#include "panorama_service.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <regex>

#include "street_panoramas_test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaRequest;
using cli::serve::PanoramaService;
using cli::serve::PanoramaServiceOptions;

TEST(PanoramaServiceTest, ReadsQueries) {
  std::string many = "output=xml&panoid=a";
  for (int i = 0; i < 30; ++i) many += "&p" + std::to_string(i) + "=1";
  const std::pair<std::string, std::string> kCases[] = {  // query, request or reason
      {"output=xml&panoid=abc&ml_client=vistara&dm=1&pm=1&v=4", "id abc dm pm"},
      {"v=4&pm=1&panoid=a%2Fb%41&dm=0&&unknown=&output=xml", "id a/bA pm"},
      {"zoom=16&y=25323&x=10503&output=metatile&ml_client=vistara&v=4", "tile 10503 25323 16"},
      {"output=xml&ll=1.500000000000000000,-2.250000000000000000&radius=49&level_id=L&dm=1", "position 1.5 -2.25 49 L dm"},
      {many, "id a"},
      {many + "&p30=1", "more than 32 parameters"},
      {"output=%0Ajs%FFn", "output=?js?n is not answered here"},  // no line breaks in a reason
      {"output=xml&panoid=a&ll=1,2&panoid=b", "panoid is given twice"},
      {"output=xml&panoid=a&ll=1,2", "panoid and ll both given"},
      {"output=xml&panoid=ab%4", "a bad percent escape"},
      {"output=metatile&x=8&y=1&zoom=3", "x and y must be 0 to 7 at zoom 3"},
      {"output=metatile&x=1.5&y=1&zoom=3&dm=yes", "a tile wants whole numbers x, y and zoom"},
      {"output=xml&ll=nan,0", "ll wants LAT,LON in degrees"},
      {"output=xml&panoid=" + std::string(257, 'a'), "the value of panoid is longer than 256 bytes"},
  };
  for (const auto& [query, expected] : kCases) {
    PanoramaRequest r;
    std::string error;
    std::ostringstream s;
    if (!cli::serve::ParsePanoramaQuery(query, &r, &error)) s << error;
    else if (r.form == PanoramaRequest::Form::kId) s << "id " << r.panoid;
    else if (r.form == PanoramaRequest::Form::kTile) s << "tile " << r.x << " " << r.y << " " << r.zoom;
    else s << "position " << r.lat << " " << r.lon << " " << r.radius << " " << r.level_id;
    s << (r.depth_map ? " dm" : "") << (r.pano_map ? " pm" : "");
    EXPECT_EQ(expected, s.str()) << query;
  }
}

TEST(PanoramaServiceTest, AnswersEveryFormOverLoopback) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService service(set, {});
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  httplib::Client client("127.0.0.1", service.port());
  auto get = [&](const std::string& query) {
    const auto res = client.Get("/mlk?" + query);
    return res ? std::make_pair(res->status, res->body) : std::make_pair(0, std::string());
  };

  // By id, in the library's two orders and another: one panorama, with its maps if asked.
  for (size_t i : {size_t{0}, size_t{321}, set->size() - 1}) {
    const std::string id = set->panorama(i).id;
    const auto reply = get("output=xml&panoid=" + id + "&ml_client=vistara&dm=1&pm=1&v=4");
    EXPECT_EQ(reply, get("output=xml&v=4&panoid=" + id + "&dm=1&pm=1&ml_client=vistara"));
    EXPECT_EQ(reply, get("pm=1&dm=1&panoid=" + id + "&output=xml"));
    const auto records = ParseReply(reply.second);
    ASSERT_EQ(1u, records.size());
    EXPECT_EQ(Fields(*set->Record(i)), Fields(*records[0]));
    ASSERT_TRUE(records[0]->depth_map && records[0]->pano_map);
    EXPECT_FALSE(ParseReply(get("output=xml&panoid=" + id).second).at(0)->depth_map);
  }
  EXPECT_EQ(std::make_pair(404, std::string("unknown panorama id")), get("output=xml&panoid=Unknown_panorama_id_00"));
  EXPECT_EQ(std::make_pair(400, std::string("output=xml wants panoid or ll")), get("output=xml"));
  EXPECT_EQ(404, client.Get("/other?output=xml&panoid=x")->status);

  // By position: the nearest within the radius; nothing near, or another level, is empty.
  const auto near = ParseReply(get("output=xml&ll=37.807600000000000000,-122.300500000000000000&radius=100&dm=1").second);
  ASSERT_EQ(1u, near.size());
  EXPECT_EQ(QString::fromStdString(set->panorama(set->Nearest(37.8076, -122.3005, 100)).id), near[0]->id);
  EXPECT_TRUE(near[0]->depth_map);
  for (const char* query : {"output=xml&ll=0,0&radius=1000", "output=xml&ll=37.8076,-122.3005&level_id=L1",
                            "output=metatile&x=0&y=0&zoom=16"}) {
    const auto reply = get(query);
    EXPECT_EQ(200, reply.first);
    EXPECT_TRUE(ParseReply(reply.second).empty()) << query;
  }

  // By tile, in two orders: the panoramas of the tile, in their order (fetch_command_test.cc takes
  // the tiles round a point).
  int64_t x, y;
  cli::serve::TileOf(37.8076, -122.3005, 16, &x, &y);
  const std::string xs = std::to_string(x), ys = std::to_string(y);
  const auto reply = get("output=metatile&x=" + xs + "&y=" + ys + "&zoom=16&ml_client=vistara&v=4");
  EXPECT_EQ(reply, get("zoom=16&y=" + ys + "&output=metatile&x=" + xs));
  const auto records = ParseReply(reply.second);
  const auto indices = set->InTile(static_cast<int>(x), static_cast<int>(y), 16);
  ASSERT_EQ(indices.size(), records.size());
  ASSERT_GT(records.size(), 10u);
  for (size_t k = 0; k < records.size(); ++k) EXPECT_EQ(Fields(*set->Record(indices[k])), Fields(*records[k]));
}

TEST(PanoramaServiceTest, InjectsFaults) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  std::atomic<int> seen{0};
  const PanoramaServiceOptions options{.delay_ms = 20, .fail_every = 4, .cut_every = 3, .garbage_every = 2};
  PanoramaService service(set, options, [&](const cli::serve::RequestLogEntry&) { ++seen; });
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  const std::string target = "/mlk?output=xml&panoid=" + set->panorama(7).id + "&dm=1&pm=1";
  const std::string whole = cli::serve::AnswerPanoramaQuery(*set, target.substr(5)).body;
  const std::vector<std::string> faults = {"", "garbage", "cut", "fail", "", "cut", "", "fail"};  // fail, then cut
  for (size_t n = 0; n < faults.size(); ++n) {
    httplib::Client client("127.0.0.1", service.port());  // a cut reply ends its connection
    const auto res = client.Get(target);
    if (faults[n] == "cut") {
      EXPECT_FALSE(res) << n;  // the body ended before its declared length
      continue;
    }
    ASSERT_TRUE(res) << n;
    if (faults[n] == "fail") {
      EXPECT_EQ(std::make_pair(503, std::string("injected failure")), std::make_pair(res->status, res->body));
    } else if (faults[n] == "garbage") {
      EXPECT_EQ(whole.substr(0, whole.size() / 2), res->body.substr(0, whole.size() / 2));
      EXPECT_TRUE(ParseReply(res->body).empty());
    } else {
      EXPECT_EQ(whole, res->body);
    }
  }
  const auto log = service.request_log();
  ASSERT_EQ(faults.size(), log.size());
  EXPECT_EQ(static_cast<int>(faults.size()), seen.load());
  for (size_t n = 0; n < faults.size(); ++n) EXPECT_TRUE(faults[n] == log[n].fault && log[n].milliseconds >= 20) << n;
  EXPECT_TRUE(std::regex_match(cli::serve::FormatRequestLogEntry(log[2]),
                               std::regex("3 200 " + std::to_string(whole.size()) +
                                          R"( B \d+\.\d\d ms /mlk\?output=xml&panoid=.{22}&dm=1&pm=1 \(cut\))")));

  // Options out of range, a port in use, a second start.
  EXPECT_FALSE(PanoramaService(set, {.fail_status = 200}).Start(&error));
  EXPECT_EQ("the failure status must be 400 to 599", error);
  EXPECT_FALSE(PanoramaService(set, {.port = service.port()}).Start(&error));
  EXPECT_EQ("cannot listen on 127.0.0.1:" + std::to_string(service.port()), error);
  EXPECT_FALSE(service.Start(&error));
  EXPECT_EQ("the service is started already", error);
}

// A bare connection: sends `request`, then gathers what arrives until the service closes the
// connection (true), `until` has arrived, or 30 s pass in silence (a loaded machine can hold a
// queued connection for seconds).
bool Exchange(int port, const std::string& request, std::string* reply, const char* until = nullptr) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bool closed = false;
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
    char buffer[4096];
    for (pollfd p{fd, POLLIN, 0}; !closed && poll(&p, 1, 30000) > 0;) {
      const ssize_t n = recv(fd, buffer, sizeof buffer, 0);
      closed = n <= 0;
      if (n > 0) reply->append(buffer, static_cast<size_t>(n));
      if (until && reply->find(until) != std::string::npos) break;
    }
  }
  close(fd);
  return closed;
}

TEST(PanoramaServiceTest, SurvivesHostileClients) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  // Idle connections wait a whole second, httplib's least.
  PanoramaService service(set, {.threads = 8, .read_timeout_ms = 200});
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  auto status = [&](const std::string& request) {
    std::string reply;
    Exchange(service.port(), request, &reply, "\r\n");
    return reply.substr(0, reply.find("\r\n"));
  };
  EXPECT_EQ("HTTP/1.1 414 URI Too Long", status("GET /mlk?panoid=" + std::string(10000, 'a') + " HTTP/1.1\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", status("\x01\xff GARBAGE\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", status("GET /mlk?output=xml HTTP/1.1\r\nX: " + std::string(9000, 'h') + "\r\n\r\n"));

  // Clients that stall halfway through a request, or say nothing, hold nobody up for longer than
  // the timeouts, and are closed.
  std::vector<std::thread> stalled;
  std::atomic<int> closed{0};
  for (int i = 0; i < 16; ++i) {
    stalled.emplace_back([&, i] {
      std::string reply;
      closed += Exchange(service.port(), i % 2 ? "GET /mlk?outp" : "", &reply);
    });
  }
  httplib::Client client("127.0.0.1", service.port());
  client.set_read_timeout(60, 0);
  const auto res = client.Get("/mlk?output=xml&panoid=" + set->panorama(0).id);
  ASSERT_TRUE(res);
  EXPECT_EQ(200, res->status);
  for (std::thread& t : stalled) t.join();
  EXPECT_EQ(16, closed.load());
}

}  // namespace
}  // namespace vistara::testing
