#include "util/geometry3d/mesh/building_z.h"

namespace geometry3d {

void PolygonZ::Clear() {
  points_.clear();
  contour_sizes_.clear();
  triangle_indices_.clear();
}

void PolygonZ::CopyFrom(const PolygonZ& other) {
  points_ = other.points_;
  contour_sizes_ = other.contour_sizes_;
  triangle_indices_ = other.triangle_indices_;
  z_ = other.z_;
}

bool PolygonZ::IsEqual(const PolygonZ& other) const {
  return points_ == other.points_ && contour_sizes_ == other.contour_sizes_ &&
         triangle_indices_ == other.triangle_indices_ && z_ == other.z_;
}

BuildingZ::~BuildingZ() { Clear(); }

PolygonZ* BuildingZ::AddNewPolygon() {
  polygons_.push_back(new PolygonZ);
  return polygons_.back();
}

void BuildingZ::RemovePolygon(int i) {
  delete polygons_.at(static_cast<size_t>(i));
  polygons_.erase(polygons_.begin() + i);
}

void BuildingZ::Clear() {
  for (PolygonZ* p : polygons_) delete p;
  polygons_.clear();
}

void BuildingZ::CopyFrom(const BuildingZ& other) {
  Clear();
  polygons_.reserve(other.polygons_.size());
  for (const PolygonZ* p : other.polygons_) AddNewPolygon()->CopyFrom(*p);
}

bool BuildingZ::IsEqual(const BuildingZ& other) const {
  if (polygons_.size() != other.polygons_.size()) return false;
  for (size_t i = 0; i < polygons_.size(); ++i) {
    if (!polygons_[i]->IsEqual(*other.polygons_[i])) return false;
  }
  return true;
}

}  // namespace geometry3d
