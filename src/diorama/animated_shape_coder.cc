#include "diorama/animated_shape_coder.h"

#include <cstdint>

#include "base/logging.h"

namespace loupe {

using geometry3d::Animation;
using geometry3d::AnimationChannel;
using geometry3d::AnimationSet;
using geometry3d::AnimationTransform;
using geometry3d::ITransformModifier;
using geometry3d::Keyframe;
using geometry3d::PointerVector;
using geometry3d::RotationAngleModifier;
using geometry3d::RotationAxisAngleModifier;
using geometry3d::RotationTransformValue;
using geometry3d::Shape;
using geometry3d::TranslationTransformModifier;
using geometry3d::TranslationTransformValue;
using geometry3d::Vector3;

namespace {

// The low byte of the shape stream's magic: the letter S that starts it.
constexpr char kShapeStreamStart = ShapeEncoder::kMagicSignature & 0xFF;

// A keyframe of another type than the channel's first is written as the first type's default
// object: the stream has no room for its own type, and its fields mean nothing under another.
template <class Modifier>
const Modifier& AsType(const ITransformModifier* m) {
  static const Modifier kDefault;
  const Modifier* typed = dynamic_cast<const Modifier*>(m);
  return typed != nullptr ? *typed : kDefault;
}

}  // namespace

// ---- AnimatedShapeEncoder ----

AnimatedShapeEncoder::AnimatedShapeEncoder(ShapeEncoder* shape_encoder)
    : shape_encoder_(shape_encoder) {
  set_codec_version(kDefaultCodecVersion);
}

AnimatedShapeEncoder* AnimatedShapeEncoder::CreateEncoder(int codec_version,
                                                          ShapeEncoder* shape_encoder) {
  if (codec_version != AnimatedShapeEncoder1::kCodecVersion) {
    VS_LOG(FATAL) << "Invalid AnimatedShapeEncoder codec version: " << codec_version;
    // Reading the version through a null encoder would crash: null instead, and the shape
    // encoder handed over isn't leaked.
    delete shape_encoder;
    return CheckCreated<AnimatedShapeEncoder>(nullptr, codec_version);
  }
  return CheckCreated<AnimatedShapeEncoder>(new AnimatedShapeEncoder1(shape_encoder),
                                            codec_version);
}

bool AnimatedShapeEncoder::EncodeToBuffer(const Shape& shape, const AnimationSet& animation_set,
                                          int shape_codec_version, std::string* buffer) {
  return EncodeToBufferWith(CreateEncoder(AnimatedShapeEncoder1::kCodecVersion,
                                          ShapeEncoder::CreateEncoder(shape_codec_version)),
                            buffer, shape, animation_set);
}

void AnimatedShapeEncoder::get_buffer(std::string* buffer) const {
  BinaryEncoder::get_buffer(buffer);
  // A shape version the factory refused leaves no shape encoder: no shape bytes.
  if (buffer != nullptr && shape_encoder_ != nullptr) shape_encoder_->AppendBytes(buffer);
}

void AnimatedShapeEncoder::WriteDoubleVec3(const Vector3<double>& v) {
  WriteDouble(v.x);
  WriteDouble(v.y);
  WriteDouble(v.z);
}

// ---- AnimatedShapeEncoder1 ----

AnimatedShapeEncoder1::AnimatedShapeEncoder1(ShapeEncoder* shape_encoder)
    : AnimatedShapeEncoder(shape_encoder) {
  set_codec_version(kCodecVersion);
}

bool AnimatedShapeEncoder1::EncodeShape(const Shape& shape, const AnimationSet& animation_set) {
  WriteHeader();
  if (!EncodeAnimationSet(animation_set)) return false;
  Flush();
  if (shape_encoder() == nullptr) return false;
  return shape_encoder()->EncodeShape(shape);
}

bool AnimatedShapeEncoder1::EncodeAnimationSet(const AnimationSet& animation_set) {
  WriteVarUInt(static_cast<int>(animation_set.transforms().size()), 4);
  for (const AnimationTransform* t : animation_set.transforms()) {
    if (t == nullptr || !EncodeAnimationTransform(*t)) return false;
  }
  WriteVarUInt(static_cast<int>(animation_set.animations().size()), 4);
  for (const Animation* a : animation_set.animations()) {
    if (a == nullptr || !EncodeAnimation(*a)) return false;
  }
  return true;
}

bool AnimatedShapeEncoder1::EncodeAnimationTransform(const AnimationTransform& transform) {
  WriteVarInt(transform.reference(), 4);
  WriteVarUInt(static_cast<int>(transform.members().size()), 4);
  for (const int m : transform.members()) WriteVarUInt(m, 4);
  return true;
}

bool AnimatedShapeEncoder1::EncodeAnimation(const Animation& animation) {
  WriteVarString(animation.name(), 1);
  WriteVarUInt(static_cast<int>(animation.channels().size()), 4);
  for (const AnimationChannel* c : animation.channels()) {
    if (c == nullptr || !EncodeAnimationChannel(*c)) return false;
  }
  return true;
}

bool AnimatedShapeEncoder1::EncodeAnimationChannel(const AnimationChannel& channel) {
  if (channel.value() == nullptr) return false;  // no start value to write
  WriteVarInt(channel.target(), 4);
  const int type = channel.value()->GetType();
  WriteVarInt(type, 4);
  bool ok = false;
  if (type == TranslationTransformValue::kType) {
    ok = EncodeTranslationTransformValue(
        *static_cast<const TranslationTransformValue*>(channel.value()));
  } else if (type == RotationTransformValue::kType) {
    ok = EncodeRotationTransformValue(*static_cast<const RotationTransformValue*>(channel.value()));
  }
  return ok && EncodeKeyframes(channel.keyframes());
}

bool AnimatedShapeEncoder1::EncodeKeyframes(const PointerVector<Keyframe>& keyframes) {
  WriteVarUInt(static_cast<int>(keyframes.size()), 4);
  if (keyframes.empty()) return true;
  const ITransformModifier* first = keyframes[0] == nullptr ? nullptr : keyframes[0]->modifier();
  if (first == nullptr) return false;  // no type to write
  const int type = first->GetType();
  WriteVarInt(type, 4);
  if (type < TranslationTransformModifier::kType || type > RotationAxisAngleModifier::kType) {
    return false;
  }
  for (const Keyframe* k : keyframes) {
    if (k == nullptr) return false;
    WriteDouble(k->time());
    const ITransformModifier* m = k->modifier();
    if (type == TranslationTransformModifier::kType) {
      EncodeTranslationModifier(AsType<TranslationTransformModifier>(m));
    } else if (type == RotationAngleModifier::kType) {
      EncodeRotationAngleModifier(AsType<RotationAngleModifier>(m));
    } else {
      EncodeRotationAxisAngleModifier(AsType<RotationAxisAngleModifier>(m));
    }
  }
  return true;
}

bool AnimatedShapeEncoder1::EncodeTranslationTransformValue(
    const TranslationTransformValue& value) {
  WriteDoubleVec3(value.translation());
  return true;
}

bool AnimatedShapeEncoder1::EncodeRotationTransformValue(const RotationTransformValue& value) {
  WriteDoubleVec3(value.first_vector());
  WriteDoubleVec3(value.second_vector());
  WriteDouble(value.angle());
  return true;
}

bool AnimatedShapeEncoder1::EncodeTranslationModifier(
    const TranslationTransformModifier& modifier) {
  WriteDoubleVec3(modifier.translation());
  return true;
}

bool AnimatedShapeEncoder1::EncodeRotationAngleModifier(const RotationAngleModifier& modifier) {
  WriteDouble(modifier.angle());
  return true;
}

bool AnimatedShapeEncoder1::EncodeRotationAxisAngleModifier(
    const RotationAxisAngleModifier& modifier) {
  WriteDoubleVec3(modifier.axis());
  WriteDouble(modifier.angle());
  return true;
}

// ---- AnimatedShapeDecoder ----

AnimatedShapeDecoder* AnimatedShapeDecoder::CreateDecoder(int codec_version) {
  if (codec_version == AnimatedShapeEncoder1::kCodecVersion) return new AnimatedShapeDecoder1;
  return nullptr;
}

Vector3<double> AnimatedShapeDecoder::ReadDoubleVec3() {
  // One statement per component: x, y, z in stream order.
  const double x = ReadDouble();
  const double y = ReadDouble();
  const double z = ReadDouble();
  return Vector3<double>(x, y, z);
}

// ---- AnimatedShapeDecoder1 ----

bool AnimatedShapeDecoder1::DecodeShape(Shape* shape, AnimationSet* animation_set) {
  VS_CHECK(shape);
  VS_CHECK(animation_set);
  if (shape == nullptr || animation_set == nullptr) return false;
  if (!ReadHeader()) return false;
  if (!DecodeAnimationSet(animation_set)) return false;

  // Always version 3, whatever the shape stream's header says.
  std::unique_ptr<ShapeDecoder> shape_decoder(ShapeDecoder::CreateDecoder(3));
  // Without the string given to set_buffer there is nothing to look for the shape in.
  if (shape_decoder == nullptr || buffer() == nullptr) return false;
  const std::string& bytes = *buffer();
  // The shape starts right after the animation stream, or one stray byte later. A buffer that
  // ends at or just after `pos` holds no shape stream.
  size_t start = static_cast<size_t>(BytesDecoded());
  if (start >= bytes.size() || bytes[start] != kShapeStreamStart) {
    ++start;
    if (start >= bytes.size() || bytes[start] != kShapeStreamStart) return false;
  }
  shape_decoder->Init(bytes.data() + start, static_cast<int>(bytes.size() - start));
  return shape_decoder->DecodeShape(shape);
}

bool AnimatedShapeDecoder1::DecodeAnimationSet(AnimationSet* animation_set) {
  VS_CHECK(animation_set);
  if (animation_set == nullptr) return false;
  // Both counts are signed for their loops: one of 2^31 or more reads none.
  const int num_transforms = static_cast<int>(BoundedCount(ReadVarUInt(4)));
  for (int i = 0; i < num_transforms; ++i) {
    auto* t = new AnimationTransform;
    DecodeAnimationTransform(t);
    animation_set->mutable_transforms()->push_back(t);
  }
  const int num_animations = static_cast<int>(BoundedCount(ReadVarUInt(4)));
  for (int i = 0; i < num_animations; ++i) {
    std::unique_ptr<Animation> a(new Animation);
    if (!DecodeAnimation(a.get())) return false;
    animation_set->mutable_animations()->push_back(a.release());
  }
  return true;
}

bool AnimatedShapeDecoder1::DecodeAnimationTransform(AnimationTransform* transform) {
  VS_CHECK(transform);
  if (transform == nullptr) return false;
  transform->set_reference(ReadVarInt(4));
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  for (uint32_t i = 0; i < n; ++i) {
    transform->mutable_members()->push_back(static_cast<int>(ReadVarUInt(4)));
  }
  return true;
}

bool AnimatedShapeDecoder1::DecodeAnimation(Animation* animation) {
  VS_CHECK(animation);
  if (animation == nullptr) return false;
  animation->set_name(ReadVarString(1));
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  for (uint32_t i = 0; i < n; ++i) {
    AnimationChannel* channel = DecodeAnimationChannel();
    if (channel == nullptr) return false;
    animation->mutable_channels()->push_back(channel);
  }
  return true;
}

AnimationChannel* AnimatedShapeDecoder1::DecodeAnimationChannel() {
  auto* channel = new AnimationChannel;
  channel->set_target(ReadVarInt(4));
  if (ReadVarInt(4) == RotationTransformValue::kType) {
    channel->set_value(DecodeRotationTransformValue());
  } else {
    channel->set_value(DecodeTranslationTransformValue());
  }
  DecodeKeyframes(channel->mutable_keyframes());
  return channel;
}

bool AnimatedShapeDecoder1::DecodeKeyframes(PointerVector<Keyframe>* keyframes) {
  VS_CHECK(keyframes);
  if (keyframes == nullptr) return false;
  const uint32_t n = BoundedCount(ReadVarUInt(4));
  if (n == 0) return true;
  const int type = ReadVarInt(4);
  if (type < TranslationTransformModifier::kType || type > RotationAxisAngleModifier::kType) {
    return false;
  }
  // Signed for the loop: a count of 2^31 or more reads none.
  for (int i = 0; i < static_cast<int>(n); ++i) {
    const double time = ReadDouble();
    ITransformModifier* m;
    if (type == TranslationTransformModifier::kType) {
      m = DecodeTranslationModifier();
    } else if (type == RotationAngleModifier::kType) {
      m = DecodeRotationAngleModifier();
    } else {
      m = DecodeRotationAxisAngleModifier();
    }
    keyframes->push_back(new Keyframe(time, m));
  }
  return true;
}

TranslationTransformValue* AnimatedShapeDecoder1::DecodeTranslationTransformValue() {
  return new TranslationTransformValue(ReadDoubleVec3());
}

RotationTransformValue* AnimatedShapeDecoder1::DecodeRotationTransformValue() {
  const Vector3<double> first = ReadDoubleVec3();
  const Vector3<double> second = ReadDoubleVec3();
  const double angle = ReadDouble();
  return new RotationTransformValue(first, second, angle);
}

TranslationTransformModifier* AnimatedShapeDecoder1::DecodeTranslationModifier() {
  return new TranslationTransformModifier(ReadDoubleVec3());
}

RotationAxisAngleModifier* AnimatedShapeDecoder1::DecodeRotationAxisAngleModifier() {
  const Vector3<double> axis = ReadDoubleVec3();
  const double angle = ReadDouble();
  return new RotationAxisAngleModifier(axis, angle);
}

RotationAngleModifier* AnimatedShapeDecoder1::DecodeRotationAngleModifier() {
  return new RotationAngleModifier(ReadDouble());
}

}  // namespace loupe
