// The tree of orbits of the solar system, and the manager that holds it by name.
//
// An Orbit is one body: its elements, its parent and its children, and a Planet feature that
// stands for the body in the host's scene. An orbit owns its children (its destructor deletes
// them) and one reference on its feature. Orbits live on HeapManager::GetDynamicHeap().
//
// OrbitManager keeps every orbit of every tree in one map by name and answers queries by name.
// Absent names give (0, 0, 0) or null; DeleteOrbit's false is the only failure reported. Rules kept
// on purpose:
//  - adding a name that exists replaces the map's entry and leaves the older orbit alive under its
//    parent, out of the map's reach (it goes when that parent goes);
//  - a record whose parent is not (yet) in the map becomes a root;
//  - SetOrbitalParameters with an unknown name leaves a null entry under the record's name;
//  - the destructor frees the map only: call Clear() first to delete the orbits.
// No locking: the manager and its trees belong to the thread that uses them.
#ifndef VISTARA_SPATIAL_ORBIT_MANAGER_H_
#define VISTARA_SPATIAL_ORBIT_MANAGER_H_

#include <QString>
#include <boost/unordered_map.hpp>

#include "platform/atlasdoc/planet.h"
#include "platform/date_time.h"
#include "platform/hash.h"
#include "platform/memory.h"
#include "platform/referent.h"
#include "platform/vec.h"
#include "spatial/orbit_utils.h"

namespace vistara::spatial {

class Orbit : public MemoryObject {
 public:
  // Copies `parameters`. With a parent, the copy's parent_name becomes the parent's name whatever
  // the record said, and the orbit appends itself to the parent's children. Makes the orbit's
  // Planet feature, named after the orbit.
  Orbit(const OrbitalParameters& parameters, Orbit* parent);
  // Leaves the parent's list, then deletes the children in list order, then lets go of the feature.
  ~Orbit();
  Orbit(const Orbit&) = delete;
  Orbit& operator=(const Orbit&) = delete;

  // Appends `child` and makes this orbit its parent (ownership passes to this orbit).
  void AddChild(Orbit* child);
  // Removes every entry equal to `child`, keeping the others' order. The child's parent pointer
  // is left as it was: the caller now owns the child and must not let it outlive that parent
  // while the pointer still names it.
  void RemoveChild(Orbit* child);
  // RemoveChild, then deletes the child (null is ignored).
  void DeleteChild(Orbit* child);
  // The first child in list order whose name is `name`, or null.
  const Orbit* GetChild(const QString& name) const;
  Orbit* GetChild(const QString& name);

  // The absolute position at `date` (scene units): this orbit's relative position plus its
  // ancestors', each at the same date.
  Vec3<double> CalcPosition(const DateTime& date) const;
  // The body's orientation at `date`; the parent plays no part.
  Vec3<double> CalcYawPitchRoll(const DateTime& date) const;

  const OrbitalParameters& orbital_parameters() const { return parameters_; }
  // Copies every field; then hands each child (in list order) a copy of its own record with
  // parent_name set to this orbit's new name, so a rename reaches every descendant's record.
  // The Planet feature keeps the name it was given at construction.
  void set_orbital_parameters(const OrbitalParameters& parameters);

  const Orbit* parent() const { return parent_; }
  const mmvector<Orbit*>& children() const { return children_; }
  atlasdoc::Planet* planet() const { return planet_.get(); }

 private:
  friend class OrbitManager;  // Clear() forgets parent pointers that RemoveChild left behind

  mmvector<Orbit*> children_;  // on the default heap (a null memory manager)
  Orbit* parent_ = nullptr;
  OrbitalParameters parameters_;
  RefPtr<atlasdoc::Planet> planet_;
};

class IOrbitManager {
 public:
  virtual ~IOrbitManager() = default;
  // Deletes every orbit and empties the map.
  virtual void Clear() = 0;
  // A new orbit under the orbit named `parameters.parent_name` (a root if there is none).
  virtual void AddOrbit(const OrbitalParameters& parameters) = 0;
  // The position of `name` at `date` minus that of `relative_to` when that names an orbit;
  // otherwise the absolute position. (0, 0, 0) for an absent `name`. Scene units.
  virtual Vec3<double> CalcOrbitPosition(const QString& name, const QString& relative_to,
                                         const DateTime& date) const = 0;
  // (0, 0, 0) for an absent name.
  virtual Vec3<double> CalcOrbitYawPitchRoll(const QString& name, const DateTime& date) const = 0;
  // Deletes the orbit and its descendants and takes their names out of the map; false if absent.
  virtual bool DeleteOrbit(const QString& name) = 0;
  virtual const Orbit* GetOrbit(const QString& name) const = 0;
  // The index-th non-null orbit in the map's iteration order (which follows the hash), or null.
  virtual const Orbit* GetOrbit(int index) const = 0;
  // The number of map entries (null entries included).
  virtual int GetOrbitCount() const = 0;
  // Replaces the elements of the orbit `name` and files it under `parameters.name` (a rename).
  virtual void SetOrbitalParameters(const QString& name, OrbitalParameters parameters) = 0;
};

class OrbitManager : public IOrbitManager {
 public:
  using OrbitMap = boost::unordered_map<QString, Orbit*, vistara::hash<QString>>;

  OrbitManager();
  // Frees the map only, not the orbits (see above).
  ~OrbitManager() override = default;

  void Clear() override;
  void AddOrbit(const OrbitalParameters& parameters) override;
  Vec3<double> CalcOrbitPosition(const QString& name, const QString& relative_to,
                                 const DateTime& date) const override;
  Vec3<double> CalcOrbitYawPitchRoll(const QString& name, const DateTime& date) const override;
  bool DeleteOrbit(const QString& name) override;
  const Orbit* GetOrbit(const QString& name) const override;
  const Orbit* GetOrbit(int index) const override;
  int GetOrbitCount() const override;
  void SetOrbitalParameters(const QString& name, OrbitalParameters parameters) override;

  // Clear(), then the ten bodies of solarsystemdata::orbital_parameters in table order.
  void LoadSolarSystem();

  // The map's orbit for `name`, or null (absent, or a null entry).
  Orbit* GetOrbitNonConst(const QString& name) const;
  // Erases the names of `orbit`'s descendants from the map, depth first, without deleting them.
  void RemoveChildOrbits(Orbit* orbit);

 private:
  OrbitMap orbits_;
};

}  // namespace vistara::spatial

#endif  // VISTARA_SPATIAL_ORBIT_MANAGER_H_
