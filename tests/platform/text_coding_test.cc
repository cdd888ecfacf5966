// Base64 and the encoded-polyline text.
#include <gtest/gtest.h>

#include "platform/base64.h"
#include "platform/polyline.h"
#include "test_util.h"

namespace vistara {
namespace {

TEST(Base64Test, RoundTripsAndRejectsBadText) {
  EXPECT_EQ(QByteArray("Zm9vYmFy"), Base64Encode("foobar", 6));
  const char binary[] = {'\0', '\xff', '\x10', 'f'};
  for (int size = 0; size <= 4; ++size) {
    EXPECT_EQ(QByteArray(binary, size), Base64Decode(Base64Encode(binary, size).constData())) << size;
  }
  EXPECT_FALSE(Base64Decode("").isNull());
  // Bad letters, a misplaced pad, a lone trailing letter (six bits of a byte), a blank, no text.
  for (const char* bad : {"Zm9v!mFy", "Zm=9v", "Zm9vY", "Zm9v YmFy", static_cast<const char*>(nullptr)}) {
    EXPECT_TRUE(Base64Decode(bad).isNull()) << (bad ? bad : "null");
  }
}

TEST(PolylineTest, KnownTextAndRoundTrip) {
  // Degrees in, position units (degrees / 180) to the encoder.
  const Vec3<double> points[] = {
      {-120.2 / 180, 38.5 / 180, 0}, {-120.95 / 180, 40.7 / 180, 0}, {-126.453 / 180, 43.252 / 180, 0}};
  std::string text = "stale";
  geometry::EncodePolylineString(points, 3, &text);
  EXPECT_EQ("_p~iF~ps|U_ulLnnqC_mqNvxq`@", text);
  geometry::EncodePolylineString(points, 0, &text);
  EXPECT_EQ("", text);

  std::vector<Vec3<double>> decoded;
  for (const char* bad : {"_p~iF", "_p~iF~ps|", "\x7f", "_p~iF~ps|U_"}) {
    EXPECT_FALSE(geometry::DecodePolylineString(bad, &decoded)) << bad;
    EXPECT_TRUE(decoded.empty());
  }
  EXPECT_FALSE(geometry::DecodePolylineString(std::string(20, '~'), &decoded)) << "longer than 64 bits";

  // Random paths with repeated points (zero steps) and steps of every size, the known points
  // first, round-trip to 1e-5 degrees.
  vistara::testing::SeededRandom rng;
  std::vector<Vec3<double>> path(std::begin(points), std::end(points));
  for (int i = 0; i < 2000; ++i) {
    const double step = std::pow(10.0, rng.Int(-6, 2)) * rng.Double(-1, 1);
    path.push_back(i % 5 == 0 ? path.back() : Vec3<double>(path.back().x + step / 180, rng.Double(-0.5, 0.5), 0));
  }
  geometry::EncodePolylineString(path.data(), static_cast<int>(path.size()), &text);
  ASSERT_TRUE(geometry::DecodePolylineString(text, &decoded));
  ASSERT_EQ(path.size(), decoded.size());
  for (size_t i = 0; i < path.size(); ++i) {
    ASSERT_NEAR(path[i].x * 180, decoded[i].x * 180, 5e-6) << i;
    ASSERT_NEAR(path[i].y * 180, decoded[i].y * 180, 5e-6) << i;
  }
}

}  // namespace
}  // namespace vistara
