// The usage command, run in-process against the panorama service: the service receives exactly
// the reports printed, through the remap of the report host, and failed reports fail the run. Its
// input rules are in usage.cases.
#include <gtest/gtest.h>
#include <json/json.h>

#include <QUrl>
#include <algorithm>
#include <map>
#include <sstream>

#include "cli_run_test_util.h"
#include "panorama_service.h"
#include "street_panoramas_test_util.h"

namespace vistara::testing {
namespace {

using cli::serve::PanoramaService;

// Four reports: the first event at once; the 21st event, with both groups; the time rule, after a
// view that counts nothing and finds nothing pending; the remainder, flushed.
std::string Events() {
  std::string input = "0 panorama true\n1 panorama true\n";
  for (int i = 1; i <= 20; ++i) input += std::to_string(1 + i) + " view " + std::to_string(40 * i) + " 0 60 false\n";
  return input + "60 view 0 0 60 true\n61 panorama false\n62 view 0 0 120 true\n";
}

TEST(UsageCommandTest, TheServiceReceivesExactlyTheReportsPrinted) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService service(set, {.read_timeout_ms = 1000});
  std::string error;
  ASSERT_TRUE(service.Start(&error)) << error;
  const Outcome o = Cli({"--json", "usage", "--server", service.url(), "--flush"}, Events());
  ASSERT_EQ(0, o.status) << o.err;

  // Each report's path and query as printed, and as received (in any order: they travel at once).
  std::vector<std::string> printed, lines;
  std::istringstream out(o.out);
  for (std::string line; std::getline(out, line);) {
    Json::Value json;
    ASSERT_TRUE(Json::Reader().parse(line, json)) << line;
    const QUrl url(QString::fromStdString(json["url"].asString()));
    EXPECT_EQ("panoramas.vistara.example", url.host());
    printed.push_back(url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::FullyEncoded).toStdString());
    lines.push_back(json["line"].isNull() ? "flush" : json["line"].asString());
  }
  EXPECT_EQ((std::vector<std::string>{"1", "22", "24", "flush"}), lines);
  std::map<std::string, std::string> received;  // target: the report as the service read it
  for (const auto& entry : service.request_log()) {
    ASSERT_TRUE(entry.report) << entry.target;
    EXPECT_EQ(204, entry.status);
    received[entry.target] = cli::serve::FormatUsageReport(*entry.report);
  }
  ASSERT_EQ(printed.size(), received.size());
  std::vector<std::string> reports;
  for (const std::string& target : printed) reports.push_back(received[target]);
  EXPECT_EQ((std::vector<std::string>{"68: 1 panorama", "67: 20 viewpoints; 68: 1 panorama", "67: 1 panorama",
                                      "68: 1 field of view"}),
            reports);
}

TEST(UsageCommandTest, FailsWhenReportsFail) {
  const auto set = WestOaklandPanoramas();
  ASSERT_TRUE(set);
  PanoramaService flaky(set, {.read_timeout_ms = 1000, .fail_every = 2});
  std::string error;
  ASSERT_TRUE(flaky.Start(&error)) << error;
  Outcome o = Cli({"usage", "--server", flaky.url(), "--flush"}, Events());
  EXPECT_EQ(1, o.status);
  EXPECT_EQ(4, std::count(o.out.begin(), o.out.end(), '\n'));  // every report printed all the same
  EXPECT_EQ("vistara-spatial: usage: 4 reports sent: 2 requests failed (http 503: 2)\n", o.err);

  // Nothing listens; then a service slower than the wait, whose report is cancelled.
  o = Cli({"usage", "--server", "http://127.0.0.1:1/mlk"}, "0 panorama true\n");
  EXPECT_EQ("vistara-spatial: usage: 1 report sent: 1 request failed (connection refused: 1)\n", o.err);
  PanoramaService slow(set, {.read_timeout_ms = 1000, .delay_ms = 1000});
  ASSERT_TRUE(slow.Start(&error)) << error;
  o = Cli({"usage", "--server", slow.url(), "--timeout", "0.2s"}, "0 panorama true\n");
  EXPECT_EQ("vistara-spatial: usage: 1 report sent: 1 request failed (cancelled: 1); timed out after 0.2 s\n", o.err);
}

}  // namespace
}  // namespace vistara::testing
