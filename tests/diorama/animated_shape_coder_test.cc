#include "diorama/animated_shape_coder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "diorama/shape_test_util.h"
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
using test_shapes::MakeTriangle;
using vistara::testing::FromHex;
using vistara::testing::ScopedLogCapture;
using vistara::testing::SeededRandom;
using vistara::testing::ToHex;

// No transforms; animation "a" with one channel: target 0, translation (0,0,0), one keyframe at
// time 1 translating by (1,0,0). 525 bits.
constexpr char kAnimationHex[] =
    "41 45 01 00 40 18 26 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
    "00 00 10 04 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 FE 07 00 00 00 00 00 00 00 00 00 00 "
    "00 00 00 00 00 00";

void MakeOneKeyframe(AnimationSet* set) {
  auto* animation = new Animation;
  animation->set_name("a");
  auto* channel = new AnimationChannel;
  channel->set_value(new TranslationTransformValue(Vector3<double>(0, 0, 0)));
  channel->mutable_keyframes()->push_back(
      new Keyframe(1.0, new TranslationTransformModifier(Vector3<double>(1, 0, 0))));
  animation->mutable_channels()->push_back(channel);
  set->mutable_animations()->push_back(animation);
}

std::string ShapeBytes(const Shape& shape) {
  std::string bytes;
  EXPECT_TRUE(ShapeEncoder::EncodeToBuffer(shape, &bytes));
  return bytes;
}

// Field-by-field equality of two sets, doubles exactly: nothing is quantised.
void ExpectSameSet(const AnimationSet& a, const AnimationSet& b) {
  ASSERT_EQ(a.transforms().size(), b.transforms().size());
  for (size_t i = 0; i < a.transforms().size(); ++i) {
    EXPECT_EQ(a.transforms()[i]->reference(), b.transforms()[i]->reference());
    EXPECT_EQ(a.transforms()[i]->members(), b.transforms()[i]->members());
  }
  ASSERT_EQ(a.animations().size(), b.animations().size());
  for (size_t i = 0; i < a.animations().size(); ++i) {
    const Animation& x = *a.animations()[i];
    const Animation& y = *b.animations()[i];
    EXPECT_EQ(x.name(), y.name());
    ASSERT_EQ(x.channels().size(), y.channels().size());
    for (size_t c = 0; c < x.channels().size(); ++c) {
      const AnimationChannel& p = *x.channels()[c];
      const AnimationChannel& q = *y.channels()[c];
      EXPECT_EQ(p.target(), q.target());
      ASSERT_EQ(p.value()->GetType(), q.value()->GetType());
      if (p.value()->GetType() == TranslationTransformValue::kType) {
        EXPECT_EQ(static_cast<const TranslationTransformValue*>(p.value())->translation(),
                  static_cast<const TranslationTransformValue*>(q.value())->translation());
      } else {
        const auto* r = static_cast<const RotationTransformValue*>(p.value());
        const auto* s = static_cast<const RotationTransformValue*>(q.value());
        EXPECT_EQ(r->first_vector(), s->first_vector());
        EXPECT_EQ(r->second_vector(), s->second_vector());
        EXPECT_EQ(r->angle(), s->angle());
      }
      ASSERT_EQ(p.keyframes().size(), q.keyframes().size());
      for (size_t k = 0; k < p.keyframes().size(); ++k) {
        const ITransformModifier* m = p.keyframes()[k]->modifier();
        const ITransformModifier* n = q.keyframes()[k]->modifier();
        EXPECT_EQ(p.keyframes()[k]->time(), q.keyframes()[k]->time());
        ASSERT_EQ(m->GetType(), n->GetType());
        if (const auto* t = dynamic_cast<const TranslationTransformModifier*>(m)) {
          EXPECT_EQ(t->translation(),
                    static_cast<const TranslationTransformModifier*>(n)->translation());
        } else if (const auto* r = dynamic_cast<const RotationAngleModifier*>(m)) {
          EXPECT_EQ(r->angle(), static_cast<const RotationAngleModifier*>(n)->angle());
        } else {
          const auto* u = static_cast<const RotationAxisAngleModifier*>(m);
          const auto* v = static_cast<const RotationAxisAngleModifier*>(n);
          EXPECT_EQ(u->axis(), v->axis());
          EXPECT_EQ(u->angle(), v->angle());
        }
      }
    }
  }
}

TEST(AnimatedShapeCoderTest, GoldenStreams) {
  AnimationSet set;
  MakeOneKeyframe(&set);
  Shape triangle;
  MakeTriangle(&triangle);
  std::string buffer;
  ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &buffer));
  EXPECT_EQ(ToHex(buffer.substr(0, 66)), kAnimationHex);
  EXPECT_EQ(buffer.substr(66), ShapeBytes(triangle));  // the shape stream at byte 66

  AnimationSet decoded_set;
  Shape decoded;
  ASSERT_TRUE(AnimatedShapeDecoder::DecodeFromBuffer(buffer, &decoded, &decoded_set));
  ExpectSameSet(set, decoded_set);
  EXPECT_TRUE(decoded.IsEqual(triangle));

  // The empty set: two 5-bit zero counts, zero bits to the byte; the shape starts at byte 6.
  ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, AnimationSet(), 3, &buffer));
  EXPECT_EQ(ToHex(buffer.substr(0, 7)), "41 45 01 00 00 00 53");
  AnimatedShapeDecoder1 decoder;
  decoder.set_buffer(buffer);
  ASSERT_TRUE(decoder.ReadHeader());
  ASSERT_TRUE(decoder.DecodeAnimationSet(&decoded_set));
  EXPECT_EQ(decoder.BytesDecoded(), 6);

  // A shape stream of version 1 is written, but the decoder reads the shape as version 3.
  ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 1, &buffer));
  EXPECT_EQ(buffer.substr(66, 4), FromHex("53 45 01 00"));
  AnimationSet filled;
  ScopedLogCapture capture;
  EXPECT_FALSE(AnimatedShapeDecoder::DecodeFromBuffer(buffer, &decoded, &filled));
  EXPECT_EQ(filled.animations().size(), 1u);
}

TEST(AnimatedShapeCoderTest, RandomRoundTrips) {
  SeededRandom rng;
  const auto vec = [&rng] { return Vector3<double>(rng.Double(-1e6, 1e6), rng.Double(-1, 1), 0.1); };
  for (int round = 0; round < 50; ++round) {
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
          ITransformModifier* m;
          if (type == 1) {
            m = new TranslationTransformModifier(vec());
          } else if (type == 2) {
            m = new RotationAngleModifier(rng.Double(-7, 7));
          } else {
            m = new RotationAxisAngleModifier(vec(), 1.5);
          }
          channel->mutable_keyframes()->push_back(new Keyframe(rng.Double(0, 100), m));
        }
        a->mutable_channels()->push_back(channel);
      }
      set.mutable_animations()->push_back(a);
    }
    Shape shape;
    test_shapes::MakeRandomShape(&rng, &shape);
    std::string buffer;
    ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(shape, set, 3, &buffer)) << round;
    AnimationSet decoded_set;
    Shape decoded;
    ASSERT_TRUE(AnimatedShapeDecoder::DecodeFromBuffer(buffer, &decoded, &decoded_set)) << round;
    ExpectSameSet(set, decoded_set);
    EXPECT_EQ(decoded.index_sets().size(), shape.index_sets().size());
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

TEST(AnimatedShapeCoderTest, EncoderAndDecoderRules) {
  Shape triangle;
  MakeTriangle(&triangle);
  std::string buffer;
  // Unknown value and modifier types are refused; a mixed channel isn't.
  AnimationSet set;
  MakeOneKeyframe(&set);
  set.animations()[0]->channels()[0]->set_value(new ScaleValue);
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, set, 3, &buffer));
  AnimationSet mixed;
  MakeOneKeyframe(&mixed);
  AnimationChannel* channel = mixed.animations()[0]->channels()[0];
  channel->mutable_keyframes()->clear();
  channel->mutable_keyframes()->push_back(new Keyframe(0, new RotationAxisAngleModifier({0, 0, 1}, 2)));
  channel->mutable_keyframes()->push_back(new Keyframe(1, new RotationAngleModifier(3)));
  EXPECT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, mixed, 3, &buffer));
  channel->mutable_keyframes()->clear();
  channel->mutable_keyframes()->push_back(new Keyframe(0, new ScaleModifier));
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, mixed, 3, &buffer));

  // A reference of -1 is the VarInt 1; a 300-byte name's length takes 16 bits.
  AnimationSet named;
  named.mutable_transforms()->push_back(new AnimationTransform);
  named.transforms()[0]->set_reference(-1);
  named.mutable_animations()->push_back(new Animation);
  named.animations()[0]->set_name(std::string(300, 'x'));
  ASSERT_TRUE(AnimatedShapeEncoder::EncodeToBuffer(triangle, named, 3, &buffer));
  BinaryDecoder fields;
  fields.Init(buffer.data(), static_cast<int>(buffer.size()));
  fields.ReadBits(32);
  EXPECT_EQ(fields.ReadVarUInt(4), 1u);
  EXPECT_EQ(fields.ReadVarInt(4), -1);
  EXPECT_EQ(fields.ReadVarUInt(4), 0u);
  EXPECT_EQ(fields.ReadVarUInt(4), 1u);
  const uint64_t left = fields.BitsLeft();
  EXPECT_EQ(fields.ReadVarUInt(1), 300u);  // 7 ones, a zero and 300 - 254 in 8 bits
  EXPECT_EQ(left - fields.BitsLeft(), 16u);
  EXPECT_EQ(fields.ReadBits(8), static_cast<uint32_t>('x'));

  // Other versions: reported and null, with the shape encoder freed (ASan would see a leak).
  ScopedLogCapture capture;
  EXPECT_EQ(AnimatedShapeEncoder::CreateEncoder(2, ShapeEncoder::CreateEncoder(3)), nullptr);
  EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                 "Invalid AnimatedShapeEncoder codec version: 2",
                                 "Check failed: encoder"}));
  EXPECT_EQ(AnimatedShapeDecoder::CreateDecoder(2), nullptr);
  EXPECT_EQ(AnimatedShapeDecoder::GetCodecVersionFromBuffer(FromHex("41 45 02 00 00")), 2);
  EXPECT_EQ(AnimatedShapeDecoder::GetCodecVersionFromBuffer(FromHex("41 45 01 00")), -1);
  Shape shape;
  AnimationSet out;
  EXPECT_FALSE(AnimatedShapeDecoder::DecodeFromBuffer(FromHex("41 45 02 00 00 00 53"), &shape, &out));
  // A shape version the factory refuses leaves the animation stream alone in the buffer.
  capture.Clear();
  EXPECT_FALSE(AnimatedShapeEncoder::EncodeToBuffer(triangle, AnimationSet(), 9, &buffer));
  EXPECT_EQ(ToHex(buffer), "41 45 01 00 00 00");
  capture.Clear();
  Keyframe empty(2.0, nullptr);
  EXPECT_EQ(capture.texts(), std::vector<std::string>{"Check failed: value != NULL"});
}

TEST(AnimatedShapeCoderTest, FindingTheShapeAndDamagedStreams) {
  AnimationSet set;
  MakeOneKeyframe(&set);
  Shape triangle;
  MakeTriangle(&triangle);
  const std::string animation = FromHex(kAnimationHex);
  const std::string shape = ShapeBytes(triangle);
  const auto decodes = [](const std::string& bytes) {
    Shape s;
    AnimationSet a;
    ScopedLogCapture capture;
    return AnimatedShapeDecoder::DecodeFromBuffer(bytes, &s, &a);
  };
  EXPECT_TRUE(decodes(animation + shape));
  EXPECT_TRUE(decodes(animation + '\x07' + shape));    // one stray byte is allowed
  EXPECT_FALSE(decodes(animation + "\x07\x07" + shape));  // two are not
  EXPECT_FALSE(decodes(animation));                      // the buffer ends at the shape
  EXPECT_FALSE(decodes(animation + 'S'));  // a one-byte shape stream fails in the shape decoder

  // The decoder is looser than the encoder: a value type of 7 reads a translation, and an
  // unknown modifier type leaves the channel without keyframes.
  AnimatedShapeEncoder1 loose(nullptr);
  loose.WriteHeader();
  loose.WriteVarUInt(0, 4);
  loose.WriteVarUInt(1, 4);
  loose.WriteVarString("a", 1);
  loose.WriteVarUInt(2, 4);
  for (const int value_type : {7, 1}) {
    loose.WriteVarInt(0, 4);
    loose.WriteVarInt(value_type, 4);
    loose.WriteDoubleVec3({1, 2, 3});
    if (value_type == 1) {
      loose.WriteDoubleVec3({4, 5, 6});
      loose.WriteDouble(7);
    }
    loose.WriteVarUInt(1, 4);
    loose.WriteVarInt(4, 4);  // what follows is read as the next field
  }
  loose.Flush();
  std::string bytes;
  loose.get_buffer(&bytes);
  bytes += shape;
  Shape decoded_shape;
  AnimationSet decoded;
  ASSERT_TRUE(AnimatedShapeDecoder::DecodeFromBuffer(bytes, &decoded_shape, &decoded));
  const Animation& a = *decoded.animations()[0];
  ASSERT_EQ(a.channels().size(), 2u);
  EXPECT_EQ(a.channels()[0]->value()->GetType(), 0);
  EXPECT_EQ(static_cast<const TranslationTransformValue*>(a.channels()[0]->value())->translation(),
            Vector3<double>(1, 2, 3));
  EXPECT_TRUE(a.channels()[0]->keyframes().empty());
  EXPECT_EQ(static_cast<const RotationTransformValue*>(a.channels()[1]->value())->angle(), 7);

  // Every prefix decodes without a crash. Cut in the animation stream, no shape is found where
  // it should start; a shape stream with its whole header decodes (to a short shape).
  const std::string whole = animation + shape;
  for (size_t n = 0; n < whole.size(); ++n) {
    SCOPED_TRACE(n);
    EXPECT_EQ(decodes(whole.substr(0, n)), n >= animation.size() + 4);
  }
  // A huge animation count reads as 0.
  AnimatedShapeEncoder1 huge(nullptr);
  huge.WriteHeader();
  huge.WriteVarUInt(0, 4);
  huge.WriteVarUInt(50000000, 4);
  huge.Flush();
  huge.get_buffer(&bytes);
  AnimationSet none;
  ASSERT_TRUE(AnimatedShapeDecoder::DecodeFromBuffer(bytes + shape, &decoded_shape, &none));
  EXPECT_TRUE(none.animations().empty());
}

}  // namespace
}  // namespace loupe
