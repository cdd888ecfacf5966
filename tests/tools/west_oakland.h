// The real street graph of the tests: West Oakland, California, a small OpenStreetMap extract (31
// highway ways) shipped by Debian's python-osmnx-doc, and the panoramas the service makes of it.
#ifndef VISTARA_TESTS_TOOLS_WEST_OAKLAND_H_
#define VISTARA_TESTS_TOOLS_WEST_OAKLAND_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "osm_streets.h"
#include "street_panoramas.h"

namespace vistara::testing {

inline const std::string kWestOaklandOsm = VISTARA_WEST_OAKLAND_OSM;

// The panoramas of the extract every 10 m, built once per test program and shared read-only.
inline std::shared_ptr<const cli::serve::StreetPanoramas> WestOaklandPanoramas() {
  static const std::shared_ptr<const cli::serve::StreetPanoramas> panoramas = [] {
    std::vector<cli::serve::Street> streets;
    std::string error;
    std::shared_ptr<const cli::serve::StreetPanoramas> built;
    if (cli::serve::ReadStreets(kWestOaklandOsm, &streets, &error)) {
      built = cli::serve::StreetPanoramas::Build(std::move(streets), {}, &error);
    }
    EXPECT_TRUE(built) << error;
    return built;
  }();
  return panoramas;
}

}  // namespace vistara::testing

#endif  // VISTARA_TESTS_TOOLS_WEST_OAKLAND_H_
