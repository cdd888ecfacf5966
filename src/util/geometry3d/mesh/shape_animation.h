// The data of an animated mesh: a set of transforms and a set of named animations, whose
// channels hold a start value and keyframes of changes to it. The library stores and carries
// these records (diorama/animated_shape_coder.h writes them); it doesn't evaluate them, and what
// targets, members, references and the rotation vectors mean is the host's.
//
// Type numbers, two separate sequences as the stream records them:
//   values     0 TranslationTransformValue, 1 RotationTransformValue
//   modifiers  1 TranslationTransformModifier, 2 RotationAngleModifier,
//              3 RotationAxisAngleModifier (there is no modifier of type 0)
// All keyframes of a channel carry modifiers of one type: the stream records it once.
//
// Ownership: every pointer field owns its object and frees it on replacement and with its
// owner, so deleting an AnimationSet deletes everything below it. Plain data, no locks.
#ifndef VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ANIMATION_H_
#define VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ANIMATION_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "util/geometry3d/vector.h"

namespace geometry3d {

// A std::vector of T* that owns its elements and deletes them with itself. Element access is
// range-tested: an index out of range lets std::out_of_range ("vector::_M_range_check") pass.
template <class T>
class PointerVector {
 public:
  using const_iterator = typename std::vector<T*>::const_iterator;

  PointerVector() = default;
  ~PointerVector() { clear(); }
  PointerVector(const PointerVector&) = delete;
  PointerVector& operator=(const PointerVector&) = delete;

  size_t size() const { return elements_.size(); }
  bool empty() const { return elements_.empty(); }
  T* at(size_t i) const { return elements_.at(i); }
  T* operator[](size_t i) const { return elements_.at(i); }
  const_iterator begin() const { return elements_.begin(); }
  const_iterator end() const { return elements_.end(); }

  // Takes ownership of `element`.
  void push_back(T* element) { elements_.push_back(element); }
  void reserve(size_t n) { elements_.reserve(n); }
  // Deletes every element.
  void clear() {
    for (T* e : elements_) delete e;
    elements_.clear();
  }

 private:
  std::vector<T*> elements_;
};

// A channel's start value.
class ITransformValue {
 public:
  virtual int GetType() const = 0;
  virtual ~ITransformValue() = default;
};

class TranslationTransformValue : public ITransformValue {
 public:
  static constexpr int kType = 0;
  TranslationTransformValue() = default;
  explicit TranslationTransformValue(const Vector3<double>& translation)
      : translation_(translation) {}
  int GetType() const override { return kType; }

  const Vector3<double>& translation() const { return translation_; }
  void set_translation(const Vector3<double>& v) { translation_ = v; }

 private:
  Vector3<double> translation_;
};

class RotationTransformValue : public ITransformValue {
 public:
  static constexpr int kType = 1;
  RotationTransformValue() = default;
  RotationTransformValue(const Vector3<double>& first_vector, const Vector3<double>& second_vector,
                         double angle)
      : first_vector_(first_vector), second_vector_(second_vector), angle_(angle) {}
  int GetType() const override { return kType; }

  const Vector3<double>& first_vector() const { return first_vector_; }
  void set_first_vector(const Vector3<double>& v) { first_vector_ = v; }
  const Vector3<double>& second_vector() const { return second_vector_; }
  void set_second_vector(const Vector3<double>& v) { second_vector_ = v; }
  double angle() const { return angle_; }
  void set_angle(double a) { angle_ = a; }

 private:
  Vector3<double> first_vector_;
  Vector3<double> second_vector_;
  double angle_ = 0;
};

// What a keyframe sets.
class ITransformModifier {
 public:
  virtual int GetType() const = 0;
  virtual ~ITransformModifier() = default;
};

class TranslationTransformModifier : public ITransformModifier {
 public:
  static constexpr int kType = 1;
  TranslationTransformModifier() = default;
  explicit TranslationTransformModifier(const Vector3<double>& translation)
      : translation_(translation) {}
  int GetType() const override { return kType; }

  const Vector3<double>& translation() const { return translation_; }
  void set_translation(const Vector3<double>& v) { translation_ = v; }

 private:
  Vector3<double> translation_;
};

class RotationAngleModifier : public ITransformModifier {
 public:
  static constexpr int kType = 2;
  RotationAngleModifier() = default;
  explicit RotationAngleModifier(double angle) : angle_(angle) {}
  int GetType() const override { return kType; }

  double angle() const { return angle_; }
  void set_angle(double a) { angle_ = a; }

 private:
  double angle_ = 0;
};

class RotationAxisAngleModifier : public ITransformModifier {
 public:
  static constexpr int kType = 3;
  RotationAxisAngleModifier() = default;
  RotationAxisAngleModifier(const Vector3<double>& axis, double angle)
      : axis_(axis), angle_(angle) {}
  int GetType() const override { return kType; }

  const Vector3<double>& axis() const { return axis_; }
  void set_axis(const Vector3<double>& v) { axis_ = v; }
  double angle() const { return angle_; }
  void set_angle(double a) { angle_ = a; }

 private:
  Vector3<double> axis_;
  double angle_ = 0;
};

class Keyframe {
 public:
  // Takes ownership of `value`; a null one is reported ("value != NULL") and kept.
  Keyframe(double time, ITransformModifier* value);

  double time() const { return time_; }
  void set_time(double t) { time_ = t; }
  const ITransformModifier* modifier() const { return modifier_.get(); }
  // Takes ownership, freeing the modifier before.
  void set_modifier(ITransformModifier* m) { modifier_.reset(m); }

 private:
  double time_;
  std::unique_ptr<ITransformModifier> modifier_;
};

class AnimationChannel {
 public:
  AnimationChannel() = default;

  int target() const { return target_; }
  void set_target(int t) { target_ = t; }
  // Null until set.
  const ITransformValue* value() const { return value_.get(); }
  // Takes ownership, freeing the value before.
  void set_value(ITransformValue* v) { value_.reset(v); }
  const PointerVector<Keyframe>& keyframes() const { return keyframes_; }
  PointerVector<Keyframe>* mutable_keyframes() { return &keyframes_; }

 private:
  int target_ = 0;
  std::unique_ptr<ITransformValue> value_;
  PointerVector<Keyframe> keyframes_;
};

class Animation {
 public:
  Animation() = default;

  const std::string& name() const { return name_; }
  void set_name(const std::string& name) { name_ = name; }
  const PointerVector<AnimationChannel>& channels() const { return channels_; }
  PointerVector<AnimationChannel>* mutable_channels() { return &channels_; }

 private:
  std::string name_;
  PointerVector<AnimationChannel> channels_;
};

class AnimationTransform {
 public:
  AnimationTransform() = default;

  // Non-negative numbers.
  const std::vector<int>& members() const { return members_; }
  std::vector<int>* mutable_members() { return &members_; }
  int reference() const { return reference_; }
  void set_reference(int r) { reference_ = r; }

 private:
  std::vector<int> members_;
  int reference_ = 0;
};

class AnimationSet {
 public:
  AnimationSet() = default;

  const PointerVector<AnimationTransform>& transforms() const { return transforms_; }
  PointerVector<AnimationTransform>* mutable_transforms() { return &transforms_; }
  const PointerVector<Animation>& animations() const { return animations_; }
  PointerVector<Animation>* mutable_animations() { return &animations_; }

 private:
  PointerVector<AnimationTransform> transforms_;
  PointerVector<Animation> animations_;
};

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ANIMATION_H_
