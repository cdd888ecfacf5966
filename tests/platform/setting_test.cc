#include "platform/setting.h"

#include <gtest/gtest.h>

#include <limits>

namespace vistara {
namespace {

struct CountingObserver : SettingObserver {
  void OnSettingChanged(Setting*) override { ++changes; }
  void OnSettingPreDelete(Setting*) override { ++deletes; }
  int changes = 0, deletes = 0;
};

// The settings command's cases read "17x", "TRUE" and a string's first word.
TEST(TypedSettingTest, FromStringVocabulary) {
  SettingGroup group(QStringLiteral("test.vocabulary"));
  BoolSetting flag(group, QStringLiteral("flag"), false, 0);
  IntSetting number(group, QStringLiteral("number"), 3, 0);
  DoubleSetting real(group, QStringLiteral("real"), 1.5, 0);

  // Eight characters are read, trimmed and lowered: "true" behind the eighth counts as nothing.
  struct BoolCase { const char* in; bool out; } const bools[] = {
      {"TRUE", true}, {" 1 ", true}, {"yes", false}, {"truest", false}, {"         true", false},
      {"  True  x", true}, {"  True x", false}, {"", false}};
  for (const auto& c : bools) {
    flag.fromString(QString::fromLatin1(c.in));
    EXPECT_EQ(c.out, flag.value()) << '"' << c.in << '"';
    EXPECT_EQ(c.out ? QStringLiteral("1") : QStringLiteral("0"), flag.toString());
  }

  CountingObserver seen;
  number.AddObserver(&seen);
  number.fromString(QStringLiteral("12abc"));
  EXPECT_EQ(12, number.value());
  number.fromString(QStringLiteral("letters"));
  EXPECT_EQ(0, number.value());
  EXPECT_EQ(2, seen.changes);
  number.fromString(QStringLiteral("nothing"));
  EXPECT_EQ(2, seen.changes) << "0 again is no change";
  number.fromString(QStringLiteral("0x1f"));
  EXPECT_EQ(31, number.value()) << "QTextStream reads a 0x prefix as hexadecimal";
  number.RemoveObserver(&seen);

  real.fromString(QStringLiteral("2.5e3 m"));
  EXPECT_EQ(2500.0, real.value());
  EXPECT_EQ(QStringLiteral("2500"), real.toString());
}

TEST(TypedSettingTest, StackNaNModifierCountersAndDestruction) {
  CountingObserver seen;
  {
    SettingGroup group(QStringLiteral("test.stack"));
    FloatSetting f(group, QStringLiteral("f"), 1.0f, 0);
    f.AddObserver(&seen);
    f.PushSetting();
    f.Set(2.0f);
    f.PushSetting();
    f.Set(2.0f);  // no change: no notification
    EXPECT_TRUE(f.PopSetting());
    EXPECT_EQ(2, seen.changes) << "a pop notifies even when the value stays";
    EXPECT_TRUE(f.PopSetting());
    EXPECT_FALSE(f.PopSetting());
    EXPECT_EQ(std::make_pair(1.0f, 3), std::make_pair(f.value(), seen.changes));

    const float nan = std::numeric_limits<float>::quiet_NaN();
    f.Set(nan);
    f.Set(nan);
    EXPECT_EQ(5, seen.changes) << "NaN is never equal to anything";

    int who = 0, other = 0;
    Setting::s_current_modifier = &who;
    f.ResetToDefault();
    EXPECT_EQ(6, seen.changes);
    Setting::s_current_modifier = &other;
    f.ResetToDefault();
    EXPECT_EQ(&other, f.modifier()) << "the modifier is recorded even without a change";
    f.PushSetting();
    Setting::s_current_modifier = &who;
    f.PopSetting();
    EXPECT_EQ(&other, f.modifier()) << "pops leave the modifier alone";
    Setting::s_current_modifier = nullptr;

    {
      CountSetting counter(group, QStringLiteral("n"), std::numeric_limits<int>::max(), 1);
      counter.Increment();
      EXPECT_EQ(std::numeric_limits<int>::min(), counter.value()) << "wraps instead of overflowing";
    }
    EXPECT_EQ(1, group.GetSettingCount()) << "a dying setting leaves its group";
    EXPECT_EQ(nullptr, group.GetSetting(-1));
    EXPECT_EQ(&group, SettingGroup::Find(QStringLiteral("test.stack")));
  }
  EXPECT_EQ(1, seen.deletes);
  EXPECT_EQ(nullptr, SettingGroup::Find(QStringLiteral("test.stack")));
}

}  // namespace
}  // namespace vistara
