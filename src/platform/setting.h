// Settings: named, typed values in named groups, with observers.
//
// A SettingGroup registers itself by name in a process-wide registry when built and leaves it
// when destroyed. A Setting joins its group in its constructor and leaves it (through
// SettingGroup::OnPreDelete) in its destructor, so a group lists its settings in construction
// order. Neither settings nor groups take a lock: a host edits them on one thread, and the
// library reads values as plain fields. The registry alone is guarded, so groups may come and go
// on any thread.
//
// TypedSetting<T> holds a value, a default and a stack of pushed values. Every change of value
// goes through one step (Set): the setting first records Setting::s_current_modifier as its
// modifier, then stores the value and notifies its observers only if it differs from the current
// one. For float and double, "equal" means neither is NaN and neither is less or greater than the
// other, so a NaN always counts as a change.
#ifndef VISTARA_PLATFORM_SETTING_H_
#define VISTARA_PLATFORM_SETTING_H_

#include <QString>
#include <list>
#include <vector>

#include "platform/memory.h"

namespace vistara {

class Setting;
class SettingGroup;

class SettingObserver {
 public:
  virtual ~SettingObserver() = default;
  virtual void OnSettingChanged(Setting* setting) = 0;
  // The setting is about to be destroyed; it must not be used after this returns.
  virtual void OnSettingPreDelete(Setting* /*setting*/) {}
};

class Setting {
 public:
  // The host's behaviour code, passed through as a plain number.
  using Behavior = int;

  // Who is changing settings at the moment; copied into a setting's modifier by each change.
  static const void* s_current_modifier;

  // Joins `group`, which must outlive the setting.
  Setting(SettingGroup& group, const QString& key, Behavior behavior);
  virtual ~Setting();
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

  virtual void fromString(const QString& text) = 0;
  virtual QString toString() const = 0;
  // The concrete class's own name, such as "BoolSetting".
  virtual const char* className() const = 0;
  // 0 bool, 1 int, 2 float, 3 double, 4 QString.
  virtual int getType() const = 0;
  virtual void PushSetting() = 0;
  virtual bool PopSetting() = 0;
  virtual void ResetToDefault() = 0;

  const QString& key() const { return key_; }
  Behavior behavior() const { return behavior_; }
  SettingGroup* group() const { return group_; }
  const void* modifier() const { return modifier_; }

  // Observers are not owned; one added twice is told twice.
  void AddObserver(SettingObserver* observer);
  void RemoveObserver(SettingObserver* observer);

 protected:
  void NotifyChanged();
  // Tells the observers, then the group, that this setting is about to die.
  void NotifyPreDelete();
  void RecordModifier() { modifier_ = s_current_modifier; }

 private:
  SettingGroup* group_;
  QString key_;
  Behavior behavior_;
  const void* modifier_ = nullptr;
  std::vector<SettingObserver*> observers_;
};

class SettingGroup {
 public:
  explicit SettingGroup(const QString& name);
  virtual ~SettingGroup();
  SettingGroup(const SettingGroup&) = delete;
  SettingGroup& operator=(const SettingGroup&) = delete;

  virtual QString GetName() const { return name_; }
  virtual int GetSettingCount() const { return static_cast<int>(settings_.size()); }
  // Null for an index out of range or an unknown key.
  virtual Setting* GetSetting(int index) const;
  virtual Setting* GetSetting(const QString& key) const;
  // Resets every setting of the group, in order.
  virtual void ResetToDefault();
  // Called by a setting about to die: the group forgets it.
  virtual void OnPreDelete(Setting* setting);

  // The group registered under `name`, or null. Of several with one name, the first registered.
  static SettingGroup* Find(const QString& name);
  // Every registered group, in order of registration.
  static std::vector<SettingGroup*> All();

 private:
  friend class Setting;
  QString name_;
  std::vector<Setting*> settings_;
};

// Type codes of getType().
template <class T> struct SettingTypeCode;
template <> struct SettingTypeCode<bool> { static constexpr int value = 0; };
template <> struct SettingTypeCode<int> { static constexpr int value = 1; };
template <> struct SettingTypeCode<float> { static constexpr int value = 2; };
template <> struct SettingTypeCode<double> { static constexpr int value = 3; };
template <> struct SettingTypeCode<QString> { static constexpr int value = 4; };

template <class T>
class TypedSetting : public Setting {
 public:
  TypedSetting(SettingGroup& group, const QString& key, const T& value, Behavior behavior)
      : Setting(group, key, behavior), value_(value), default_(value) {}
  ~TypedSetting() override { NotifyPreDelete(); }

  // int, float, double: one number read by QTextStream (no number reads as 0). QString: the
  // first whitespace-delimited word. bool: the first 8 characters, trimmed and lower-cased, are
  // "true" or "1" for true; anything else is false.
  void fromString(const QString& text) override;
  // QTextStream's default formatting; bool prints as the int 1 or 0.
  QString toString() const override;
  int getType() const override { return SettingTypeCode<T>::value; }
  // Saves the current value on the stack; nothing else changes and nobody is told.
  void PushSetting() override { stack_.push_front(value_); }
  // Restores the top of the stack and always notifies; false (and nothing done) on an empty stack.
  bool PopSetting() override;
  void ResetToDefault() override { Set(default_); }

  const T& value() const { return value_; }
  const T& default_value() const { return default_; }
  operator const T&() const { return value_; }  // NOLINT: settings read as plain values
  // The common change step (see the file comment).
  void Set(const T& value);
  TypedSetting& operator=(const T& value) { Set(value); return *this; }

 private:
  static bool Equal(const T& a, const T& b);

  T value_;
  T default_;
  // The stack of pushed values, top at the front; nodes on the default heap.
  std::list<T, mmallocator<T>> stack_{mmallocator<T>(nullptr)};
};

class BoolSetting : public TypedSetting<bool> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "BoolSetting"; }
};

class IntSetting : public TypedSetting<int> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "IntSetting"; }
};

// A running counter the library increments; plain int, no lock.
class CountSetting : public TypedSetting<int> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "CountSetting"; }
  // The common change step with value + 1; INT_MAX wraps to INT_MIN instead of overflowing.
  void Increment();
};

class FloatSetting : public TypedSetting<float> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "FloatSetting"; }
};

class DoubleSetting : public TypedSetting<double> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "DoubleSetting"; }
};

class StringSetting : public TypedSetting<QString> {
 public:
  using TypedSetting::TypedSetting;
  using TypedSetting::operator=;
  const char* className() const override { return "StringSetting"; }
};

extern template class TypedSetting<bool>;
extern template class TypedSetting<int>;
extern template class TypedSetting<float>;
extern template class TypedSetting<double>;
extern template class TypedSetting<QString>;

}  // namespace vistara

#endif  // VISTARA_PLATFORM_SETTING_H_
