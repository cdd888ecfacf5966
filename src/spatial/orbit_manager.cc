#include "spatial/orbit_manager.h"

#include <algorithm>
#include <vector>

#include "spatial/solar_system_data.h"

namespace vistara::spatial {

Orbit::Orbit(const OrbitalParameters& parameters, Orbit* parent)
    : children_(static_cast<MemoryManager*>(nullptr)), parent_(parent), parameters_(parameters) {
  if (parent_) {
    parameters_.parent_name = parent_->parameters_.name;
    parent_->AddChild(this);
  }
  planet_.reset(new atlasdoc::Planet(atlasdoc::KmlId(), QString()));
  planet_->SetName(parameters_.name);
}

Orbit::~Orbit() {
  if (parent_) parent_->RemoveChild(this);
  // Take the list first: a child's destructor must not find itself in it (its parent is cleared).
  mmvector<Orbit*> children(static_cast<MemoryManager*>(nullptr));
  children.swap(children_);
  for (Orbit* child : children) {
    if (!child) continue;
    child->parent_ = nullptr;
    delete child;
  }
  planet_.reset();
}

void Orbit::AddChild(Orbit* child) {
  children_.push_back(child);
  // A null entry is kept, as added; there is nothing to point back.
  if (child) child->parent_ = this;
}

void Orbit::RemoveChild(Orbit* child) {
  children_.erase(std::remove(children_.begin(), children_.end(), child), children_.end());
}

void Orbit::DeleteChild(Orbit* child) {
  RemoveChild(child);
  delete child;
}

const Orbit* Orbit::GetChild(const QString& name) const {
  for (const Orbit* child : children_) {
    if (child && child->parameters_.name == name) return child;
  }
  return nullptr;
}

Orbit* Orbit::GetChild(const QString& name) {
  return const_cast<Orbit*>(static_cast<const Orbit*>(this)->GetChild(name));
}

Vec3<double> Orbit::CalcPosition(const DateTime& date) const {
  Vec3<double> position = OrbitUtils::CalcRelativePosition(date, parameters_);
  for (const Orbit* up = parent_; up; up = up->parent_) {
    position += OrbitUtils::CalcRelativePosition(date, up->parameters_);
  }
  return position;
}

Vec3<double> Orbit::CalcYawPitchRoll(const DateTime& date) const {
  return OrbitUtils::CalcYawPitchRoll(date, parameters_);
}

void Orbit::set_orbital_parameters(const OrbitalParameters& parameters) {
  parameters_ = parameters;
  for (Orbit* child : children_) {
    if (!child) continue;
    OrbitalParameters renamed = child->parameters_;
    renamed.parent_name = parameters_.name;
    child->set_orbital_parameters(renamed);
  }
}

OrbitManager::OrbitManager() : orbits_(11) { orbits_.max_load_factor(1.0f); }

void OrbitManager::Clear() {
  // Every orbit of every tree stands in the map, and a parent deletes its children. So delete only
  // the orbits that no other orbit of the map holds, directly or through orbits that were replaced
  // in the map: each subtree then goes exactly once. All ancestors are read before anything goes.
  std::vector<Orbit*> in_map;
  in_map.reserve(orbits_.size());
  for (const auto& entry : orbits_) {
    if (entry.second) in_map.push_back(entry.second);
  }
  std::vector<Orbit*> sorted = in_map;
  std::sort(sorted.begin(), sorted.end());
  auto is_in_map = [&](const Orbit* o) { return std::binary_search(sorted.begin(), sorted.end(), o); };
  auto owned_by_parent = [](const Orbit* child) {
    const auto& siblings = child->parent()->children();
    return std::find(siblings.begin(), siblings.end(), child) != siblings.end();
  };
  std::vector<Orbit*> tops;
  for (Orbit* orbit : in_map) {
    bool held = false;
    // Follow only links that own: RemoveChild leaves a child's parent pointer behind.
    for (const Orbit* child = orbit; child->parent() && !held; child = child->parent()) {
      if (!owned_by_parent(child)) break;
      held = is_in_map(child->parent());
    }
    if (!held) tops.push_back(orbit);
  }
  // An orbit taken out of its parent's list still points at that parent, which may go first in
  // this loop: forget the pointer (the parent doesn't hold it) so its destructor doesn't follow it.
  for (Orbit* orbit : tops) {
    if (orbit->parent_ && !owned_by_parent(orbit)) orbit->parent_ = nullptr;
  }
  // The same orbit may stand under two names; delete it once.
  std::sort(tops.begin(), tops.end());
  tops.erase(std::unique(tops.begin(), tops.end()), tops.end());
  for (Orbit* orbit : tops) delete orbit;
  orbits_.clear();
}

void OrbitManager::AddOrbit(const OrbitalParameters& parameters) {
  // Kept for hosts that override GetOrbit to observe additions; the answer is not used.
  static_cast<void>(GetOrbit(parameters.name));
  Orbit* parent = parameters.parent_name.isEmpty() ? nullptr : GetOrbitNonConst(parameters.parent_name);
  Orbit* orbit = new (HeapManager::GetDynamicHeap()) Orbit(parameters, parent);
  orbits_[parameters.name] = orbit;
}

Vec3<double> OrbitManager::CalcOrbitPosition(const QString& name, const QString& relative_to,
                                              const DateTime& date) const {
  const Orbit* orbit = GetOrbit(name);
  if (!orbit) return Vec3<double>(0.0, 0.0, 0.0);
  if (!relative_to.isEmpty()) {
    if (const Orbit* other = GetOrbit(relative_to)) return orbit->CalcPosition(date) - other->CalcPosition(date);
  }
  return orbit->CalcPosition(date);
}

Vec3<double> OrbitManager::CalcOrbitYawPitchRoll(const QString& name, const DateTime& date) const {
  const Orbit* orbit = GetOrbit(name);
  if (!orbit) return Vec3<double>(0.0, 0.0, 0.0);
  return orbit->CalcYawPitchRoll(date);
}

bool OrbitManager::DeleteOrbit(const QString& name) {
  Orbit* orbit = GetOrbitNonConst(name);
  if (!orbit) return false;
  RemoveChildOrbits(orbit);
  if (!orbit->parent()) delete orbit;
  else const_cast<Orbit*>(orbit->parent())->DeleteChild(orbit);
  orbits_.erase(name);
  return true;
}

const Orbit* OrbitManager::GetOrbit(const QString& name) const { return GetOrbitNonConst(name); }

const Orbit* OrbitManager::GetOrbit(int index) const {
  int count = 0;
  for (const auto& entry : orbits_) {
    if (!entry.second) continue;
    if (count == index) return entry.second;
    ++count;
  }
  return nullptr;
}

int OrbitManager::GetOrbitCount() const { return static_cast<int>(orbits_.size()); }

void OrbitManager::SetOrbitalParameters(const QString& name, OrbitalParameters parameters) {
  Orbit* orbit = orbits_[name];  // inserts a null entry for an unknown name, as a caller's error
  orbits_.erase(name);
  // An unknown name gives no orbit to update: skip the call rather than follow a null pointer.
  if (orbit) orbit->set_orbital_parameters(parameters);
  orbits_[parameters.name] = orbit;
}

void OrbitManager::LoadSolarSystem() {
  Clear();
  for (const OrbitalParameters& parameters : solarsystemdata::orbital_parameters) AddOrbit(parameters);
}

Orbit* OrbitManager::GetOrbitNonConst(const QString& name) const {
  const auto it = orbits_.find(name);
  return it == orbits_.end() ? nullptr : it->second;
}

void OrbitManager::RemoveChildOrbits(Orbit* orbit) {
  if (!orbit) return;
  for (Orbit* child : orbit->children()) {
    if (!child) continue;
    orbits_.erase(child->orbital_parameters().name);
    RemoveChildOrbits(child);
  }
}

}  // namespace vistara::spatial
