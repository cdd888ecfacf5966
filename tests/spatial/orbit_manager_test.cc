#include "spatial/orbit_manager.h"

#include <gtest/gtest.h>

#include <set>

#include "spatial/solar_system_data.h"

namespace vistara::spatial {
namespace {

// The manager's destructor leaves the orbits alive; every test empties it first.
struct ClearedManager : OrbitManager {
  ~ClearedManager() override { Clear(); }
};

OrbitalParameters Body(const char* name, const char* parent, double a = 1.0) {
  OrbitalParameters p;
  p.name = QString::fromLatin1(name);
  p.parent_name = QString::fromLatin1(parent);
  p.semi_major_axis = a;
  p.mean_anomaly_rate = 0.01;
  p.rotation_period = 1.0;
  return p;
}

// The names of the orbits GetOrbit(index) reaches, which skips null entries.
std::set<QString> Names(const OrbitManager& m) {
  std::set<QString> names;
  for (int i = 0; m.GetOrbit(i); ++i) names.insert(m.GetOrbit(i)->orbital_parameters().name);
  return names;
}

TEST(OrbitManagerTest, LoadsTheSolarSystemAsATree) {
  ClearedManager m;
  m.LoadSolarSystem();
  ASSERT_EQ(10, m.GetOrbitCount());
  const Orbit* moon = m.GetOrbit(QStringLiteral("moon"));
  const Orbit* earth = m.GetOrbit(QStringLiteral("earth"));
  const Orbit* sun = m.GetOrbit(QStringLiteral("sun"));
  ASSERT_TRUE(moon && earth && sun);
  EXPECT_EQ(earth, moon->parent());
  EXPECT_EQ(sun, earth->parent());
  EXPECT_EQ(nullptr, sun->parent());
  EXPECT_EQ(8u, sun->children().size());

  // Positions add up the tree: the moon from the earth is its own orbit, up to the rounding of
  // absolute positions some 23 000 scene units out. Relative to an unknown or empty name they are
  // absolute.
  const DateTime date(2026, 11, 22, 18, 30);
  const OrbitalParameters& moon_row = solarsystemdata::orbital_parameters[solarsystemdata::kMoon];
  const Vec3<double> from_earth = m.CalcOrbitPosition(QStringLiteral("moon"), QStringLiteral("earth"), date);
  EXPECT_NEAR(0, (from_earth - OrbitUtils::CalcRelativePosition(date, moon_row)).Length(), 1e-9);
  const Vec3<double> absolute = m.CalcOrbitPosition(QStringLiteral("moon"), QString(), date);
  EXPECT_EQ(moon->CalcPosition(date), absolute);
  EXPECT_EQ(absolute, m.CalcOrbitPosition(QStringLiteral("moon"), QStringLiteral("nothing"), date));
  EXPECT_EQ(Vec3<double>(0, 0, 0), m.CalcOrbitPosition(QStringLiteral("nothing"), QString(), date));
  EXPECT_EQ(OrbitUtils::CalcYawPitchRoll(date, moon_row), m.CalcOrbitYawPitchRoll(QStringLiteral("moon"), date));

  // Loading again replaces everything: ten orbits, none freed twice (ASan), none leaked.
  m.LoadSolarSystem();
  EXPECT_EQ(10u, Names(m).size());
}

TEST(OrbitManagerTest, DeleteAndRename) {
  ClearedManager m;
  m.LoadSolarSystem();
  EXPECT_FALSE(m.DeleteOrbit(QStringLiteral("pluto")));
  EXPECT_TRUE(m.DeleteOrbit(QStringLiteral("earth")));  // the moon goes with it
  EXPECT_EQ(8, m.GetOrbitCount());
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("moon")));
  EXPECT_EQ(7u, m.GetOrbit(QStringLiteral("sun"))->children().size());
  EXPECT_TRUE(m.DeleteOrbit(QStringLiteral("sun")));  // a root takes its whole tree out of the map
  EXPECT_EQ(0, m.GetOrbitCount());

  m.LoadSolarSystem();
  OrbitalParameters renamed = m.GetOrbit(QStringLiteral("earth"))->orbital_parameters();
  renamed.name = QStringLiteral("terra");
  renamed.parent_name = QStringLiteral("ignored");
  m.SetOrbitalParameters(QStringLiteral("earth"), renamed);
  EXPECT_EQ(10, m.GetOrbitCount());
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("earth")));
  const Orbit* terra = m.GetOrbit(QStringLiteral("terra"));
  ASSERT_NE(nullptr, terra);
  // The record is copied as given, children follow the new name; the feature keeps its first name.
  EXPECT_EQ(QStringLiteral("ignored"), terra->orbital_parameters().parent_name);
  EXPECT_EQ(QStringLiteral("earth"), terra->planet()->name());
  EXPECT_EQ(QStringLiteral("terra"), m.GetOrbit(QStringLiteral("moon"))->orbital_parameters().parent_name);

  // An unknown name leaves a null entry under the record's name: counted, but no orbit.
  m.SetOrbitalParameters(QStringLiteral("vulcan"), Body("vulcan", "sun"));
  EXPECT_EQ(11, m.GetOrbitCount());
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("vulcan")));
  EXPECT_EQ(10u, Names(m).size());
  EXPECT_FALSE(m.DeleteOrbit(QStringLiteral("vulcan")));
}

TEST(OrbitManagerTest, TreeRulesKeptOnPurpose) {
  ClearedManager m;
  // A parent that isn't there yet: a root, with its parent name kept.
  m.AddOrbit(Body("moon", "earth", 0.01));
  EXPECT_EQ(nullptr, m.GetOrbit(QStringLiteral("moon"))->parent());
  m.AddOrbit(Body("sun", ""));
  m.AddOrbit(Body("earth", "mars"));  // not there: a root too
  const Orbit* lost_root = m.GetOrbit(QStringLiteral("earth"));
  m.AddOrbit(Body("earth", "sun"));   // replaces the entry; the first "earth" lives on as a root
  const Orbit* sun = m.GetOrbit(QStringLiteral("sun"));
  const Orbit* earth = m.GetOrbit(QStringLiteral("earth"));
  EXPECT_EQ(sun, earth->parent());
  m.AddOrbit(Body("earth", "sun", 2.0));  // the second "earth" stays under "sun", out of reach
  EXPECT_EQ(2u, sun->children().size());
  EXPECT_EQ(earth, sun->GetChild(QStringLiteral("earth")));  // the first in list order
  EXPECT_EQ(3, m.GetOrbitCount());
  // The parent name in a child's record follows the parent, whatever the record said.
  Orbit* mars = new (HeapManager::GetDynamicHeap()) Orbit(Body("mars", ""), nullptr);
  Orbit* phobos = new (HeapManager::GetDynamicHeap()) Orbit(Body("phobos", "somewhere"), mars);
  EXPECT_EQ(QStringLiteral("mars"), phobos->orbital_parameters().parent_name);
  // RemoveChild keeps the child's parent pointer and takes every equal entry; the caller owns
  // the child then.
  mars->AddChild(phobos);
  mars->RemoveChild(phobos);
  EXPECT_TRUE(mars->children().empty());
  EXPECT_EQ(mars, phobos->parent());
  mars->AddChild(phobos);
  // The orbit holds one reference on its feature and lets go of it with the orbit.
  RefPtr<atlasdoc::Planet> feature(phobos->planet());
  EXPECT_EQ(2, feature->ref_count());
  mars->DeleteChild(phobos);
  EXPECT_TRUE(mars->children().empty());
  EXPECT_EQ(1, feature->ref_count());
  feature.reset();
  delete mars;
  // Out of the map's reach and under no orbit of it: nothing but its owner can free it.
  EXPECT_EQ(nullptr, lost_root->parent());
  delete lost_root;
  // Clear (in the destructor) must free the older "earth" orbits exactly once each; the test main
  // and ASan check it.
}

TEST(OrbitManagerTest, ClearAfterRemoveChildFreesEachOrbitOnce) {
  // A child taken out of its parent's list but still in the map: Clear must not reach it through
  // the stale parent pointer, and must still free it.
  ClearedManager m;
  m.LoadSolarSystem();
  m.GetOrbitNonConst(QStringLiteral("sun"))->RemoveChild(m.GetOrbitNonConst(QStringLiteral("earth")));
}

}  // namespace
}  // namespace vistara::spatial
