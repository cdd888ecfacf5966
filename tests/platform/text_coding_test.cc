// Base64 and the encoded-polyline text.
#include <gtest/gtest.h>

#include "platform/base64.h"
#include "platform/polyline.h"
#include "test_util.h"

namespace vistara {
namespace {

TEST(Base64Test, RoundTripsAndRejectsBadText) {
  for (const char* raw : {"", "f", "fo", "foo", "foob", "fooba", "foobar"}) {
    const QByteArray encoded = Base64Encode(raw, static_cast<int>(strlen(raw)));
    EXPECT_EQ(QByteArray(raw), Base64Decode(encoded.constData()));
  }
  EXPECT_EQ(QByteArray("Zm9vYmFy"), Base64Encode("foobar", 6));
  const QByteArray empty = Base64Decode("");
  EXPECT_FALSE(empty.isNull());
  EXPECT_TRUE(empty.isEmpty());
  for (const char* bad : {"Zm9v!mFy", "Zm=9v", "Zm9vY", "Zm9v YmFy"}) {
    EXPECT_TRUE(Base64Decode(bad).isNull()) << bad;
  }
  EXPECT_TRUE(Base64Decode(nullptr).isNull());
  const char binary[] = {'\0', '\xff', '\x10'};
  EXPECT_EQ(QByteArray(binary, 3), Base64Decode(Base64Encode(binary, 3).constData()));
}

TEST(PolylineTest, KnownTextAndRoundTrip) {
  // Degrees in, position units (degrees / 180) to the encoder.
  const Vec3<double> points[] = {{-120.2 / 180, 38.5 / 180, 0},
                                 {-120.95 / 180, 40.7 / 180, 0},
                                 {-126.453 / 180, 43.252 / 180, 0}};
  std::string text = "stale";
  geometry::EncodePolylineString(points, 3, &text);
  EXPECT_EQ("_p~iF~ps|U_ulLnnqC_mqNvxq`@", text);

  std::vector<Vec3<double>> decoded;
  ASSERT_TRUE(geometry::DecodePolylineString(text, &decoded));
  ASSERT_EQ(3u, decoded.size());
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(points[i].x * 180, decoded[i].x * 180, 5e-6);
    EXPECT_NEAR(points[i].y * 180, decoded[i].y * 180, 5e-6);
  }
  geometry::EncodePolylineString(points, 0, &text);
  EXPECT_EQ("", text);

  for (const char* bad : {"_p~iF", "_p~iF~ps|", "\x7f", "_p~iF~ps|U_"}) {
    EXPECT_FALSE(geometry::DecodePolylineString(bad, &decoded)) << bad;
    EXPECT_TRUE(decoded.empty());
  }
  EXPECT_FALSE(geometry::DecodePolylineString(std::string(20, '~'), &decoded)) << "longer than 64 bits";

  // Random paths with repeated points and steps of every size round-trip to 1e-5 degrees.
  vistara::testing::SeededRandom rng;
  std::vector<Vec3<double>> path;
  for (int i = 0; i < 2000; ++i) {
    const double step = std::pow(10.0, rng.Int(-6, 2)) * rng.Double(-1, 1);
    path.push_back(i % 5 == 0 && i ? path.back() : Vec3<double>(path.empty() ? 0 : path.back().x + step / 180, rng.Double(-0.5, 0.5), 0));
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
