#include "platform/setting.h"

#include <QIODevice>
#include <QTextStream>
#include <algorithm>
#include <cmath>
#include <mutex>

namespace vistara {

const void* Setting::s_current_modifier = nullptr;

namespace {

struct Registry {
  std::mutex mutex;
  std::vector<SettingGroup*> groups;
};

// Built on first use, so that a group may register from any static initialiser; it is built
// while the first group is, and so outlives every group.
Registry& GetRegistry() {
  static Registry registry;
  return registry;
}

}  // namespace

// ---- Setting -------------------------------------------------------------------------------------

Setting::Setting(SettingGroup& group, const QString& key, Behavior behavior)
    : group_(&group), key_(key), behavior_(behavior) {
  group.settings_.push_back(this);
}

Setting::~Setting() = default;

void Setting::AddObserver(SettingObserver* observer) { observers_.push_back(observer); }

void Setting::RemoveObserver(SettingObserver* observer) {
  auto it = std::find(observers_.begin(), observers_.end(), observer);
  if (it != observers_.end()) observers_.erase(it);
}

void Setting::NotifyChanged() {
  // A copy: an observer may remove itself while being told.
  const std::vector<SettingObserver*> observers = observers_;
  for (SettingObserver* o : observers) o->OnSettingChanged(this);
}

void Setting::NotifyPreDelete() {
  const std::vector<SettingObserver*> observers = observers_;
  for (SettingObserver* o : observers) o->OnSettingPreDelete(this);
  if (group_) group_->OnPreDelete(this);
  group_ = nullptr;
}

// ---- SettingGroup --------------------------------------------------------------------------------

SettingGroup::SettingGroup(const QString& name) : name_(name) {
  Registry& r = GetRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.groups.push_back(this);
}

SettingGroup::~SettingGroup() {
  Registry& r = GetRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.groups.erase(std::remove(r.groups.begin(), r.groups.end(), this), r.groups.end());
}

Setting* SettingGroup::GetSetting(int index) const {
  if (index < 0 || index >= GetSettingCount()) return nullptr;
  return settings_[static_cast<size_t>(index)];
}

Setting* SettingGroup::GetSetting(const QString& key) const {
  for (Setting* s : settings_) {
    if (s->key() == key) return s;
  }
  return nullptr;
}

void SettingGroup::ResetToDefault() {
  for (Setting* s : settings_) s->ResetToDefault();
}

void SettingGroup::OnPreDelete(Setting* setting) {
  settings_.erase(std::remove(settings_.begin(), settings_.end(), setting), settings_.end());
}

SettingGroup* SettingGroup::Find(const QString& name) {
  Registry& r = GetRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  for (SettingGroup* g : r.groups) {
    if (g->name_ == name) return g;
  }
  return nullptr;
}

std::vector<SettingGroup*> SettingGroup::All() {
  Registry& r = GetRegistry();
  std::lock_guard<std::mutex> lock(r.mutex);
  return r.groups;
}

// ---- TypedSetting --------------------------------------------------------------------------------

template <class T>
bool TypedSetting<T>::Equal(const T& a, const T& b) {
  if constexpr (std::is_floating_point_v<T>) {
    return !std::isnan(a) && !std::isnan(b) && !(a < b) && !(a > b);
  } else {
    return a == b;
  }
}

template <class T>
void TypedSetting<T>::Set(const T& value) {
  RecordModifier();
  if (Equal(value, value_)) return;
  value_ = value;
  NotifyChanged();
}

template <class T>
bool TypedSetting<T>::PopSetting() {
  if (stack_.empty()) return false;
  value_ = stack_.front();
  stack_.pop_front();
  NotifyChanged();
  return true;
}

template <class T>
void TypedSetting<T>::fromString(const QString& text) {
  QString buffer = text;
  QTextStream stream(&buffer, QIODevice::ReadWrite);
  T value{};
  if constexpr (std::is_same_v<T, bool>) {
    const QString word = stream.read(8).trimmed().toLower();
    value = word == QLatin1String("true") || word == QLatin1String("1");
  } else {
    // QTextStream leaves 0 (or the empty string) when the text holds no number (or no word).
    stream >> value;
  }
  Set(value);
}

template <class T>
QString TypedSetting<T>::toString() const {
  QString out;
  {
    QTextStream stream(&out, QIODevice::ReadWrite);
    if constexpr (std::is_same_v<T, bool>) {
      stream << static_cast<int>(value_);
    } else {
      stream << value_;
    }
  }
  return out;
}

void CountSetting::Increment() {
  // Unsigned arithmetic: a counter at INT_MAX wraps rather than overflowing a signed int.
  Set(static_cast<int>(static_cast<unsigned>(value()) + 1u));
}

template class TypedSetting<bool>;
template class TypedSetting<int>;
template class TypedSetting<float>;
template class TypedSetting<double>;
template class TypedSetting<QString>;

}  // namespace vistara
