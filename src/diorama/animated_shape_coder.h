// An AnimationSet and a Shape in one byte string: a stream of the animation data, flushed to a
// byte boundary, and right behind it a whole shape stream with its own header
// (diorama/shape_coder.h). The two halves are separate streams that meet only in get_buffer.
//
// Animation stream, no alignment between fields (codes of binary_coder.h):
//   16 kMagicSignature 0x4541 (bytes 41 45), 16 version 1
//   VarUInt(transform count, 4), transforms: VarInt(reference, 4), VarUInt(member count, 4),
//     VarUInt(member, 4) each
//   VarUInt(animation count, 4), animations: VarString(name, 1), VarUInt(channel count, 4),
//     channels:
//       VarInt(target, 4), VarInt(value type, 4), the value as doubles (type 0: translation x y z;
//       type 1: first vector, second vector, angle)
//       VarUInt(keyframe count, 4); when not 0: VarInt(modifier type of the first keyframe, 4),
//       then per keyframe Double(time) and the modifier as doubles (type 1: translation x y z;
//       type 2: angle; type 3: axis x y z, angle)
//   Flush, then the shape stream (53 45 ...)
// Nothing in the animation data is quantised; the doubles aren't aligned to bytes. The empty set
// is 41 45 01 00 00 00.
//
// The decoder reads the shape stream with a version-3 decoder whatever its header says, so a
// stream written with a version-1 or 2 shape encoder can't be read back by it. It finds the
// shape at the byte after the animation stream, or at the one after that (one stray byte is
// allowed), by its first byte 0x53.
//
// The header, the version and the whole-buffer operations are the stream frame's
// (binary_coder.h). Failure is by result: false, or null from the factories. Coder objects are
// single-threaded.
#ifndef VISTARA_DIORAMA_ANIMATED_SHAPE_CODER_H_
#define VISTARA_DIORAMA_ANIMATED_SHAPE_CODER_H_

#include <memory>
#include <string>

#include "diorama/binary_coder.h"
#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/mesh/shape_animation.h"
#include "util/geometry3d/vector.h"

namespace loupe {

// The animated shape stream's header and versions.
struct AnimatedShapeStreamFamily {
  static constexpr int kMagicSignature = 0x4541;
  static constexpr int kDefaultCodecVersion = 1;
  static constexpr int kMaxCodecVersion = 1;
  static constexpr const char* kMaxVersionName = "AnimatedShapeEncoder::kMaxCodecVersion";
};

class AnimatedShapeEncoder : public VersionedEncoder<AnimatedShapeStreamFamily> {
 public:
  // Takes ownership of `shape_encoder`, which writes the shape stream (null: no shape can be
  // encoded).
  explicit AnimatedShapeEncoder(ShapeEncoder* shape_encoder);
  virtual ~AnimatedShapeEncoder() = default;
  virtual bool EncodeShape(const geometry3d::Shape& shape,
                           const geometry3d::AnimationSet& animation_set) = 0;

  // A new encoder of `codec_version` owning `shape_encoder`. Any version but 1 is a programming
  // error: it is reported ("Invalid AnimatedShapeEncoder codec version: N") and gives null,
  // with `shape_encoder` deleted.
  static AnimatedShapeEncoder* CreateEncoder(int codec_version, ShapeEncoder* shape_encoder);
  // Encodes with a version-1 animation stream and a shape stream of `shape_codec_version` into
  // *buffer (also on failure: the partial stream).
  static bool EncodeToBuffer(const geometry3d::Shape& shape,
                             const geometry3d::AnimationSet& animation_set,
                             int shape_codec_version, std::string* buffer);
  // The animation stream's buffer_size() bytes followed by the shape stream's. (Through a
  // BinaryEncoder, get_buffer gives the animation stream alone.)
  void get_buffer(std::string* buffer) const;

  // For the formats.
  void WriteDoubleVec3(const geometry3d::Vector3<double>& v);
  ShapeEncoder* shape_encoder() const { return shape_encoder_.get(); }

 private:
  std::unique_ptr<ShapeEncoder> shape_encoder_;
};

class AnimatedShapeEncoder1 : public AnimatedShapeEncoder {
 public:
  static constexpr int kCodecVersion = 1;

  explicit AnimatedShapeEncoder1(ShapeEncoder* shape_encoder);
  // The animation stream, the flush, then the shape stream; false for a value type other than
  // 0 or 1, a first modifier type other than 1..3, a null element or a failed shape.
  bool EncodeShape(const geometry3d::Shape& shape,
                   const geometry3d::AnimationSet& animation_set) override;

  bool EncodeAnimationSet(const geometry3d::AnimationSet& animation_set);
  bool EncodeAnimationTransform(const geometry3d::AnimationTransform& transform);
  bool EncodeAnimation(const geometry3d::Animation& animation);
  bool EncodeAnimationChannel(const geometry3d::AnimationChannel& channel);
  // Every keyframe is written as the first one's modifier type.
  bool EncodeKeyframes(const geometry3d::PointerVector<geometry3d::Keyframe>& keyframes);
  bool EncodeTranslationTransformValue(const geometry3d::TranslationTransformValue& value);
  bool EncodeRotationTransformValue(const geometry3d::RotationTransformValue& value);
  bool EncodeTranslationModifier(const geometry3d::TranslationTransformModifier& modifier);
  bool EncodeRotationAngleModifier(const geometry3d::RotationAngleModifier& modifier);
  bool EncodeRotationAxisAngleModifier(const geometry3d::RotationAxisAngleModifier& modifier);
};

class AnimatedShapeDecoder : public VersionedDecoder<AnimatedShapeStreamFamily> {
 public:
  AnimatedShapeDecoder() = default;
  virtual ~AnimatedShapeDecoder() = default;
  virtual bool DecodeShape(geometry3d::Shape* shape, geometry3d::AnimationSet* animation_set) = 0;

  // A new decoder for version 1, else null.
  static AnimatedShapeDecoder* CreateDecoder(int codec_version);
  // False for a buffer GetCodecVersionFromBuffer refuses, a negative version or a version
  // without a decoder; otherwise what DecodeShape returns. The shape stream is found in
  // `buffer`, so a decoder reads it through set_buffer.
  static bool DecodeFromBuffer(const std::string& buffer, geometry3d::Shape* shape,
                               geometry3d::AnimationSet* animation_set) {
    return DecodeFromBufferWith<AnimatedShapeDecoder>(buffer, shape, animation_set);
  }

  // For the formats.
  geometry3d::Vector3<double> ReadDoubleVec3();
};

class AnimatedShapeDecoder1 : public AnimatedShapeDecoder {
 public:
  AnimatedShapeDecoder1() = default;
  // Adds to *animation_set and *shape without clearing them. False for a bad header, a failed
  // animation, no shape stream where one should start, or a failed shape (the animation set
  // then holds what was decoded).
  bool DecodeShape(geometry3d::Shape* shape, geometry3d::AnimationSet* animation_set) override;

  bool DecodeAnimationSet(geometry3d::AnimationSet* animation_set);
  bool DecodeAnimationTransform(geometry3d::AnimationTransform* transform);
  // False when a channel fails; the channels before it stay.
  bool DecodeAnimation(geometry3d::Animation* animation);
  // A new channel, the caller's. Looser than the encoder: any value type but 1 reads a
  // translation, and a channel whose keyframes fail comes back with those it got.
  geometry3d::AnimationChannel* DecodeAnimationChannel();
  // False for a modifier type other than 1..3, with no keyframe read.
  bool DecodeKeyframes(geometry3d::PointerVector<geometry3d::Keyframe>* keyframes);
  geometry3d::TranslationTransformValue* DecodeTranslationTransformValue();
  geometry3d::RotationTransformValue* DecodeRotationTransformValue();
  geometry3d::TranslationTransformModifier* DecodeTranslationModifier();
  geometry3d::RotationAxisAngleModifier* DecodeRotationAxisAngleModifier();
  geometry3d::RotationAngleModifier* DecodeRotationAngleModifier();
};

}  // namespace loupe

#endif  // VISTARA_DIORAMA_ANIMATED_SHAPE_CODER_H_
