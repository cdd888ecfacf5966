// The panorama service over loopback: its queries, every form in any order read back by the
// library's parsers and fed to the panorama graph, the faults it injects, and hostile clients.
#include "panorama_service.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <regex>
#include <set>

#include "spatial/pano_graph.h"
#include "spatial/panorama_xml_parser.h"
#include "test_util.h"
#include "west_oakland.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaRequest;
using cli::serve::PanoramaService;
using cli::serve::PanoramaServiceOptions;
using spatial::PanoramaData;

std::string Describe(const PanoramaRequest& r) {
  std::ostringstream s;
  s.precision(10);
  switch (r.form) {
    case PanoramaRequest::Form::kId: s << "id " << r.panoid; break;
    case PanoramaRequest::Form::kTile: s << "tile " << r.x << " " << r.y << " " << r.zoom; break;
    case PanoramaRequest::Form::kPosition: s << "position " << r.lat << " " << r.lon << " " << r.radius << " [" << r.level_id << "]"; break;
  }
  return s.str() + (r.depth_map ? " dm" : "") + (r.pano_map ? " pm" : "");
}

TEST(PanoramaServiceTest, ReadsQueries) {
  const std::string many = [] {
    std::string q = "output=xml&panoid=a";
    for (int i = 0; i < 30; ++i) q += "&p" + std::to_string(i) + "=1";
    return q;
  }();
  const struct {
    std::string query, expected;  // a description of the request, or the reason it is refused
  } kCases[] = {
      {"output=xml&panoid=abc&ml_client=vistara&dm=1&pm=1&v=4", "id abc dm pm"},
      {"output=xml&v=4&panoid=abc&dm=1&pm=1&ml_client=vistara", "id abc dm pm"},  // the depth-map form
      {"v=4&pm=1&panoid=abc&dm=0&output=xml", "id abc pm"},
      {"output=metatile&x=10503&y=25323&zoom=16&ml_client=vistara&v=4", "tile 10503 25323 16"},
      {"zoom=0&y=0&x=0&output=metatile", "tile 0 0 0"},
      {"output=xml&ll=1.500000000000000000,2.250000000000000000&radius=50&level_id=L&dm=1&pm=1&ml_client=vistara&v=4",
       "position 1.5 2.25 50 [L] dm pm"},
      {"ll=37.8076,-122.3005&output=xml", "position 37.8076 -122.3005 50 []"},
      {"output=xml&panoid=a%2Fb%41&&unknown=&", "id a/bA"},
      {many, "id a"},
      {"", "no output parameter"},
      {"output=json", "output=json is not answered here"},
      {"output=%0Ajs%FFn", "output=?js?n is not answered here"},  // no line breaks in a reason
      {"output=tile&panoid=x&zoom=1&x=0&y=0", "output=tile is not answered here"},
      {"output=xml&v=4", "output=xml wants panoid or ll"},
      {"output=xml&panoid=a&ll=1,2", "panoid and ll both given"},
      {"output=xml&panoid=a&panoid=b", "panoid is given twice"},
      {"output=xml&panoid=%zz", "a bad percent escape"},
      {"output=xml&panoid=ab%4", "a bad percent escape"},
      {"output=metatile&x=1&y=1", "a tile wants whole numbers x, y and zoom"},
      {"output=metatile&x=1.5&y=1&zoom=3", "a tile wants whole numbers x, y and zoom"},
      {"output=metatile&x=99999999999999999999&y=1&zoom=3", "a tile wants whole numbers x, y and zoom"},
      {"output=metatile&x=8&y=1&zoom=3", "x and y must be 0 to 7 at zoom 3"},
      {"output=metatile&x=0&y=-1&zoom=3", "x and y must be 0 to 7 at zoom 3"},
      {"output=metatile&x=0&y=0&zoom=31", "zoom must be 0 to 30"},
      {"output=xml&ll=91,0", "ll wants LAT,LON in degrees"},
      {"output=xml&ll=nan,0", "ll wants LAT,LON in degrees"},
      {"output=xml&ll=1,2,3", "ll wants LAT,LON in degrees"},
      {"output=xml&ll=+1,2", "ll wants LAT,LON in degrees"},
      {"output=xml&ll=1,2&radius=-1", "radius wants metres, 0 or more"},
      {"output=xml&ll=1,2&radius=1e999", "radius wants metres, 0 or more"},
      {"output=xml&panoid=a&dm=yes", "dm wants 0 or 1"},
      {many + "&p30=1", "more than 32 parameters"},
      {"output=xml&" + std::string(33, 'n') + "=1", "a parameter name longer than 32 bytes"},
      {"output=xml&panoid=" + std::string(257, 'a'), "the value of panoid is longer than 256 bytes"},
  };
  for (const auto& c : kCases) {
    PanoramaRequest request;
    std::string error;
    const bool ok = cli::serve::ParsePanoramaQuery(c.query, &request, &error);
    EXPECT_EQ(c.expected, ok ? Describe(request) : error) << c.query;
  }
}

std::vector<RefPtr<PanoramaData>> Parse(const std::string& xml) {
  mmvector<RefPtr<PanoramaData>> out;
  spatial::PanoramaXMLParser::Parse(QByteArray::fromStdString(xml), &out);
  return std::vector<RefPtr<PanoramaData>>(out.begin(), out.end());
}

void ExpectSameRecord(const PanoramaData& expected, const PanoramaData& got) {
  EXPECT_EQ(expected.id, got.id);
  EXPECT_EQ(expected.position, got.position);
  EXPECT_EQ(expected.pano_yaw_deg, got.pano_yaw_deg);
  EXPECT_EQ(expected.text, got.text);
  EXPECT_EQ(expected.image_date, got.image_date);
  EXPECT_EQ(expected.copyright, got.copyright);
  EXPECT_EQ(expected.scene, got.scene);
  EXPECT_EQ(13312, got.image_width);
  EXPECT_EQ(6656, got.image_height);
  EXPECT_EQ(512, got.tile_width);
  EXPECT_EQ(512, got.tile_height);
  ASSERT_EQ(expected.connected_panos.size(), got.connected_panos.size());
  for (size_t k = 0; k < got.connected_panos.size(); ++k) {
    EXPECT_EQ(expected.connected_panos[k].id, got.connected_panos[k].id);
    EXPECT_EQ(expected.connected_panos[k].road_color, got.connected_panos[k].road_color);
    EXPECT_EQ(expected.connected_panos[k].yaw_deg, got.connected_panos[k].yaw_deg);
  }
}

TEST(PanoramaServiceTest, AnswersEveryFormOverLoopback) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService service(set, {});
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  EXPECT_EQ("http://127.0.0.1:" + std::to_string(service.port()) + "/mlk", service.url());
  httplib::Client client("127.0.0.1", service.port());
  auto get = [&](const std::string& query) {
    const auto res = client.Get("/mlk?" + query);
    EXPECT_TRUE(res) << query;
    return res ? std::make_pair(res->status, res->body) : std::make_pair(0, std::string());
  };

  // By id, in the library's two orders and another: one panorama with both maps.
  for (size_t i : {size_t{0}, size_t{321}, set->size() - 1}) {
    const std::string id = set->panorama(i).id;
    const auto reply = get("output=xml&panoid=" + id + "&ml_client=vistara&dm=1&pm=1&v=4");
    ASSERT_EQ(200, reply.first);
    EXPECT_EQ(reply, get("output=xml&v=4&panoid=" + id + "&dm=1&pm=1&ml_client=vistara"));
    EXPECT_EQ(reply, get("pm=1&dm=1&panoid=" + id + "&output=xml"));
    const auto records = Parse(reply.second);
    ASSERT_EQ(1u, records.size());
    ExpectSameRecord(*set->Record(i), *records[0]);
    ASSERT_TRUE(records[0]->depth_map && records[0]->pano_map);
    EXPECT_EQ(set->street_width(set->panorama(i).street) / 2, records[0]->depth_map->planes[2].distance);
    const auto plain = Parse(get("output=xml&panoid=" + id).second);
    ASSERT_EQ(1u, plain.size());
    EXPECT_FALSE(plain[0]->depth_map || plain[0]->pano_map);
  }
  EXPECT_EQ(404, get("output=xml&panoid=Unknown_panorama_id_00").first);
  EXPECT_EQ(std::make_pair(400, std::string("output=xml wants panoid or ll")), get("output=xml"));
  EXPECT_EQ(404, client.Get("/other?output=xml&panoid=x")->status);

  // By position: the nearest within the radius; nothing near, or another level, is empty.
  const auto near = Parse(get("output=xml&ll=37.807600000000000000,-122.300500000000000000&radius=100&dm=1&pm=1").second);
  ASSERT_EQ(1u, near.size());
  EXPECT_EQ(QString::fromStdString(set->panorama(set->Nearest(37.8076, -122.3005, 100)).id), near[0]->id);
  EXPECT_TRUE(near[0]->depth_map);
  for (const char* query : {"output=xml&ll=0,0&radius=1000", "output=xml&ll=37.8076,-122.3005&level_id=L1",
                            "output=xml&ll=37.8076,-122.3005&radius=0"}) {
    const auto reply = get(query);
    EXPECT_EQ(200, reply.first);
    EXPECT_TRUE(Parse(reply.second).empty()) << query;
  }

  // By tile: the nine tiles round the position fill a graph with every panorama they hold, at
  // its place and with its links (and the graph's own inferred links at dead ends).
  int64_t cx, cy;
  cli::serve::TileOf(37.8076, -122.3005, 16, &cx, &cy);
  spatial::PanoGraph graph;
  std::vector<RefPtr<PanoramaData>> kept;  // the graph holds no references to pending records
  std::set<uint32_t> expected;
  for (int64_t dy = -1; dy <= 1; ++dy) {
    for (int64_t dx = -1; dx <= 1; ++dx) {
      const std::string x = std::to_string(cx + dx), y = std::to_string(cy + dy);
      const auto reply = get("output=metatile&x=" + x + "&y=" + y + "&zoom=16&ml_client=vistara&v=4");
      EXPECT_EQ(reply, get("zoom=16&y=" + y + "&x=" + x + "&output=metatile"));
      const auto records = Parse(reply.second);
      const auto indices = set->InTile(static_cast<int>(cx + dx), static_cast<int>(cy + dy), 16);
      ASSERT_EQ(indices.size(), records.size());
      for (size_t k = 0; k < records.size(); ++k) {
        ExpectSameRecord(*set->Record(indices[k]), *records[k]);
        EXPECT_FALSE(records[k]->depth_map);
        graph.AddPano(records[k]->id, records[k].get());
        kept.push_back(records[k]);
        expected.insert(indices[k]);
      }
      graph.PostProcessBatch();
    }
  }
  EXPECT_GT(expected.size(), 200u);
  for (uint32_t i : expected) {
    const PanoramaData* data = graph.GetPanoramaData(QString::fromStdString(set->panorama(i).id));
    ASSERT_TRUE(data);
    mmvector<spatial::ConnectedPano> links;
    graph.GetLinkedPanos(data->id, &links);
    std::set<QString> got, want;
    for (const auto& l : links) got.insert(l.id);
    for (const auto& l : set->panorama(i).links) want.insert(QString::fromStdString(set->panorama(l.to).id));
    for (const QString& id : want) EXPECT_TRUE(got.count(id));
    for (const QString& id : got) {
      EXPECT_TRUE(want.count(id) || want.size() == 1 || set->panorama(set->Find(id.toStdString())).links.size() == 1);
    }
  }
  const QString& closest = graph.GetClosestPanoToPoint(Vec3<double>(-122.3005 / 180, 37.8076 / 180, 0));
  ASSERT_GE(set->Find(closest.toStdString()), 0);
  EXPECT_EQ(200, get("output=metatile&x=0&y=0&zoom=16").first);
  EXPECT_TRUE(Parse(get("output=metatile&x=0&y=0&zoom=16").second).empty());

  // The log has every request to /mlk, in order, with its status.
  const auto log = service.request_log();
  ASSERT_FALSE(log.empty());
  for (size_t k = 0; k < log.size(); ++k) EXPECT_EQ(k + 1, log[k].number);
  EXPECT_EQ(404, log[12].status);
  EXPECT_EQ("/mlk?output=xml&panoid=Unknown_panorama_id_00", log[12].target);
}

TEST(PanoramaServiceTest, InjectsFaults) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  std::atomic<int> seen{0};
  PanoramaServiceOptions options;
  options.fail_every = 4;
  options.cut_every = 3;
  options.garbage_every = 2;
  options.delay_ms = 20;
  PanoramaService service(set, options, [&](const cli::serve::RequestLogEntry&) { ++seen; });
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  const std::string target = "/mlk?output=xml&panoid=" + set->panorama(7).id + "&dm=1&pm=1";
  const std::string whole = cli::serve::AnswerPanoramaQuery(*set, target.substr(5)).body;
  // Failure wins over a cut, a cut over garbage.
  const std::vector<std::string> faults = {"", "garbage", "cut", "fail", "", "cut", "", "fail", "cut", "garbage", "", "fail"};
  for (size_t n = 0; n < faults.size(); ++n) {
    SCOPED_TRACE("request " + std::to_string(n + 1));
    httplib::Client client("127.0.0.1", service.port());  // a cut reply ends its connection
    const auto res = client.Get(target);
    if (faults[n] == "cut") {
      EXPECT_FALSE(res);  // the body ended before its declared length
      continue;
    }
    ASSERT_TRUE(res);
    if (faults[n] == "fail") {
      EXPECT_EQ(503, res->status);
      EXPECT_EQ("injected failure", res->body);
    } else if (faults[n] == "garbage") {
      EXPECT_EQ(200, res->status);
      EXPECT_EQ(whole.substr(0, whole.size() / 2), res->body.substr(0, whole.size() / 2));
      EXPECT_TRUE(Parse(res->body).empty());
    } else {
      EXPECT_EQ(whole, res->body);
    }
  }
  const auto log = service.request_log();
  ASSERT_EQ(faults.size(), log.size());
  EXPECT_EQ(static_cast<int>(faults.size()), seen.load());
  for (size_t n = 0; n < faults.size(); ++n) {
    EXPECT_EQ(faults[n], log[n].fault);
    EXPECT_GE(log[n].milliseconds, 20.0);
  }
  EXPECT_EQ(whole.size(), log[2].bytes);
  EXPECT_TRUE(std::regex_match(cli::serve::FormatRequestLogEntry(log[2]),
                               std::regex("3 200 " + std::to_string(whole.size()) + R"( B \d+\.\d\d ms /mlk\?output=xml&panoid=.{22}&dm=1&pm=1 \(cut\))")))
      << cli::serve::FormatRequestLogEntry(log[2]);

  // Options out of range, a port in use, a second start.
  PanoramaServiceOptions bad;
  bad.fail_status = 200;
  EXPECT_FALSE(PanoramaService(set, bad).Start(&error));
  EXPECT_EQ("the failure status must be 400 to 599", error);
  PanoramaServiceOptions taken;
  taken.port = service.port();
  EXPECT_FALSE(PanoramaService(set, taken).Start(&error));
  EXPECT_EQ("cannot listen on 127.0.0.1:" + std::to_string(service.port()), error);
  EXPECT_FALSE(service.Start(&error));
  EXPECT_EQ("the service is started already", error);
}

// A bare TCP connection to the service, for what an HTTP client won't send.
class RawConnection {
 public:
  explicit RawConnection(int port) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address));
  }
  ~RawConnection() { close(fd_); }
  void Send(const std::string& bytes) { EXPECT_EQ(static_cast<ssize_t>(bytes.size()), send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL)); }
  // What arrives until the service closes the connection (true), or `until` has arrived, or
  // `timeout_ms` pass in silence.
  bool Receive(int timeout_ms, std::string* text, const char* until = nullptr) {
    char buffer[4096];
    for (pollfd p{fd_, POLLIN, 0}; poll(&p, 1, timeout_ms) > 0;) {
      const ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
      if (n <= 0) return true;
      text->append(buffer, static_cast<size_t>(n));
      if (until && text->find(until) != std::string::npos) return false;
    }
    return false;
  }

 private:
  int fd_;
};

TEST(PanoramaServiceTest, SurvivesHostileClients) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaServiceOptions options;
  options.threads = 8;
  options.read_timeout_ms = 200;  // idle connections wait a whole second, httplib's least
  PanoramaService service(set, options);
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  auto reply_to = [&](const std::string& request) {
    RawConnection c(service.port());
    c.Send(request);
    std::string text;
    c.Receive(10000, &text, "\r\n");
    return text.substr(0, text.find("\r\n"));
  };
  EXPECT_EQ("HTTP/1.1 414 URI Too Long", reply_to("GET /mlk?output=xml&panoid=" + std::string(10000, 'a') + " HTTP/1.1\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", reply_to("\x01\xff GARBAGE\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", reply_to("GET /mlk?output=xml&panoid=a?b HTTP/1.1\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", reply_to("GET /mlk?output=xml HTTP/1.1\r\nX: " + std::string(9000, 'h') + "\r\n\r\n"));
  EXPECT_EQ("HTTP/1.1 400 Bad Request", reply_to("GET /mlk?output=xml&x=" + std::string(5000, '9') + " HTTP/1.1\r\n\r\n"));

  // A client that stalls halfway through its request, and a crowd of idle connections, hold up
  // nobody for longer than the read timeout, and are closed.
  RawConnection slow(service.port());
  slow.Send("GET /mlk?outp");
  std::vector<std::unique_ptr<RawConnection>> idle;
  for (int i = 0; i < 16; ++i) idle.push_back(std::make_unique<RawConnection>(service.port()));
  httplib::Client client("127.0.0.1", service.port());
  client.set_read_timeout(60, 0);
  const auto res = client.Get("/mlk?output=xml&panoid=" + set->panorama(0).id);
  ASSERT_TRUE(res);
  EXPECT_EQ(200, res->status);
  std::string text;
  EXPECT_TRUE(slow.Receive(10000, &text));
  for (auto& c : idle) EXPECT_TRUE(c->Receive(10000, &text));
}

}  // namespace
}  // namespace vistara::testing
