// The usage command, run in-process against the panorama service: the service receives exactly
// the reports printed, through the remap of the report host, and a report not answered in time
// fails the run. Its input rules are in usage.cases.
#include <gtest/gtest.h>

#include <QUrl>
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
  const Outcome o = Cli({"usage", "--server", service.url(), "--flush"}, Events());
  ASSERT_EQ(0, o.status) << o.err;

  // Each report as the service read it, by its path and query as received (in any order: the
  // reports travel at once), taken in the order of the URLs printed.
  std::map<std::string, std::string> received;
  for (const auto& entry : service.request_log()) {
    EXPECT_EQ(204, entry.status);
    if (entry.report) received[entry.target] = cli::serve::FormatUsageReport(*entry.report);
  }
  std::vector<std::string> reports;
  std::istringstream out(o.out);
  for (std::string line; std::getline(out, line);) {
    const QUrl url(QString::fromStdString(line));
    EXPECT_EQ("panoramas.vistara.example", url.host());
    reports.push_back(received[url.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority).toStdString()]);
  }
  EXPECT_EQ(reports.size(), received.size());
  EXPECT_EQ((std::vector<std::string>{"68: 1 panorama", "67: 20 viewpoints; 68: 1 panorama", "67: 1 panorama",
                                      "68: 1 field of view"}),
            reports);

  // A service slower than the wait: the report is cancelled, and the run fails.
  PanoramaService slow(set, {.read_timeout_ms = 1000, .delay_ms = 1000});
  ASSERT_TRUE(slow.Start(&error)) << error;
  const Outcome late = Cli({"usage", "--server", slow.url(), "--timeout", "0.2s"}, "0 panorama true\n");
  EXPECT_EQ(1, late.status);
  EXPECT_EQ("vistara-spatial: usage: 1 report sent: 1 request failed (cancelled: 1); timed out after 0.2 s\n",
            late.err);
}

}  // namespace
}  // namespace vistara::testing
