#include "diorama/animated_shape_coder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "diorama/stream_test_util.h"
#include "test_util.h"

namespace loupe {
namespace {

using geometry3d::Animation;
using geometry3d::AnimationChannel;
using geometry3d::AnimationSet;
using geometry3d::AnimationTransform;
using geometry3d::ITransformModifier;
using geometry3d::ITransformValue;
using geometry3d::Keyframe;
using geometry3d::RotationAngleModifier;
using geometry3d::RotationAxisAngleModifier;
using geometry3d::RotationTransformValue;
using geometry3d::Shape;
using geometry3d::TranslationTransformModifier;
using geometry3d::TranslationTransformValue;
using geometry3d::Vector3;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// Transforms with negative references and members past one group, names of 300 bytes, both
// value types and every modifier type, with a random shape: what is decoded encodes to the same
// bytes.
TEST(AnimatedShapeCoderTest, RandomRoundTrips) {
  SeededRandom rng;
  const auto vec = [&rng] { return Vector3<double>(rng.Double(-1e6, 1e6), rng.Double(-1, 1), 0.1); };
  const auto modifier = [&](int type) -> ITransformModifier* {
    if (type == 1) return new TranslationTransformModifier(vec());
    if (type == 2) return new RotationAngleModifier(rng.Double(-7, 7));
    return new RotationAxisAngleModifier(vec(), 1.5);
  };
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    AnimationSet set;
    for (int i = rng.Int(0, 3); i > 0; --i) {
      auto* t = new AnimationTransform;
      t->set_reference(rng.Int(-3, 100000));
      for (int m = rng.Int(0, 5); m > 0; --m) t->mutable_members()->push_back(rng.Int(0, 70000));
      set.mutable_transforms()->push_back(t);
    }
    for (int i = rng.Int(0, 3); i > 0; --i) {
      auto* a = new Animation;
      a->set_name(std::string(rng.Int(0, 1) ? 300 : rng.Int(0, 5), 'n'));
      for (int c = rng.Int(0, 3); c > 0; --c) {
        auto* channel = new AnimationChannel;
        channel->set_target(rng.Int(-5, 5));
        if (rng.Int(0, 1)) {
          channel->set_value(new TranslationTransformValue(vec()));
        } else {
          channel->set_value(new RotationTransformValue(vec(), vec(), rng.Double(-7, 7)));
        }
        const int type = rng.Int(1, 3);
        for (int k = rng.Int(0, 4); k > 0; --k) {
          channel->mutable_keyframes()->push_back(new Keyframe(rng.Double(0, 100), modifier(type)));
        }
        a->mutable_channels()->push_back(channel);
      }
      set.mutable_animations()->push_back(a);
    }
    Shape shape, decoded;
    test_streams::MakeRandomShape(&rng, &shape);
    std::string bytes, again;
    ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(shape, set, 3, &bytes));
    AnimationSet decoded_set;
    ASSERT_TRUE(AnimatedShapeDecoder::DecodeFromBuffer(bytes, &decoded, &decoded_set));
    ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(decoded, decoded_set, 3, &again));
    EXPECT_EQ(again, bytes);
  }
}

// A start value and a modifier of types the format doesn't know.
class ScaleValue : public ITransformValue {
 public:
  int GetType() const override { return 5; }
};
class ScaleModifier : public ITransformModifier {
 public:
  int GetType() const override { return 4; }
};

TEST(AnimatedShapeCoderTest, EncoderRulesFindingTheShapeAndLooseReading) {
  Shape triangle;
  test_streams::MakeTriangle(&triangle);
  std::string buffer;
  // Unknown value and modifier types are refused; a channel of mixed modifiers isn't.
  AnimationSet set;
  set.mutable_animations()->push_back(new Animation);
  auto* channel = new AnimationChannel;
  set.animations()[0]->mutable_channels()->push_back(channel);
  channel->set_value(new ScaleValue);
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &buffer));
  channel->set_value(new TranslationTransformValue({0, 0, 0}));
  auto* keyframes = channel->mutable_keyframes();
  keyframes->push_back(new Keyframe(0, new RotationAxisAngleModifier({0, 0, 1}, 2)));
  keyframes->push_back(new Keyframe(1, new RotationAngleModifier(3)));
  EXPECT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &buffer));
  keyframes->clear();
  keyframes->push_back(new Keyframe(0, new ScaleModifier));
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &buffer));

  // Other versions: reported and null, with the shape encoder freed (ASan would see a leak).
  ScopedLogCapture capture;
  EXPECT_EQ(AnimatedShapeEncoder::CreateEncoder(2, ShapeEncoder::CreateEncoder(3)), nullptr);
  EXPECT_EQ(capture.texts(),
            (std::vector<std::string>{"Invalid AnimatedShapeEncoder codec version: 2", "Check failed: encoder"}));
  // A shape version the factory refuses leaves the animation stream alone in the buffer.
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, AnimationSet(), 9, &buffer));
  EXPECT_EQ(ToHex(buffer), "41 45 01 00 00 00");  // the empty set

  const std::string animation = buffer;
  const std::string shape = test_streams::EncodeShape(3, triangle);
  const auto decodes = [](const std::string& bytes, AnimationSet* set) {
    Shape s;
    return AnimatedShapeDecoder::DecodeFromBuffer(bytes, &s, set);
  };
  AnimationSet found;
  EXPECT_TRUE(decodes(animation + '\x07' + shape, &found));       // one stray byte is allowed
  EXPECT_FALSE(decodes(animation + "\x07\x07" + shape, &found));  // two are not
  EXPECT_FALSE(decodes(animation + 'S', &found));                 // a one-byte shape stream fails in its decoder
  // The shape is read as version 3 whatever its header says: a version-1 shape fails, with the
  // animations decoded.
  AnimationSet one;
  one.mutable_animations()->push_back(new Animation);
  ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, one, 1, &buffer));
  EXPECT_FALSE(decodes(buffer, &found));
  EXPECT_EQ(found.animations().size(), 1u);

  // The decoder is looser than the encoder: a value type of 7 reads a translation, and an
  // unknown modifier type leaves the channel without keyframes, read on as the next field. No
  // transforms; animation "a", one channel: target 0, value type 7, (1, 2, 3), one keyframe of
  // modifier type 4.
  const std::string loose = FromHex(
      "41 45 01 00 40 18 26 00 07 00 00 00 00 00 80 FF 01 00 00 00 00 00 00 00 02 00 00 00 00 00 "
      "40 00 12 10");
  AnimationSet decoded;
  ASSERT_TRUE(decodes(loose + shape, &decoded));
  const AnimationChannel& read = *decoded.animations()[0]->channels().at(0);
  EXPECT_EQ(static_cast<const TranslationTransformValue*>(read.value())->translation(), Vector3<double>(1, 2, 3));
  EXPECT_TRUE(read.keyframes().empty());
}

}  // namespace
}  // namespace loupe
