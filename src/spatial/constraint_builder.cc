#include "spatial/constraint_builder.h"

#include <limits>

#include "platform/fast_math.h"

namespace vistara::spatial {

void ConstraintBuilder::SetLink(const PanoGraph::link& link) {
  if (has_link_ && link.m_eproperty == link_.m_eproperty) return;
  link_ = link;
  has_link_ = true;
  geometry_valid_ = false;
  OnUpdate();
}

void ConstraintBuilder::EnsureLinkGeometryCalculated() {
  if (geometry_valid_) return;
  start_data_ = graph_->GetPanoramaData(graph_->IdOf(link_.m_source));
  end_data_ = graph_->GetPanoramaData(graph_->IdOf(link_.m_target));
  if (!start_data_ || !end_data_) return;
  start_ = Vec2<double>(start_data_->position.x, start_data_->position.y);
  end_ = Vec2<double>(end_data_->position.x, end_data_->position.y);
  direction_ = end_ - start_;
  length_ = FastMath::sqrt(direction_.LengthSquared());
  if (length_ != 0) direction_ = direction_ / length_;
  geometry_valid_ = true;
}

void ConstraintBuilder::OnUpdate() {
  if (!has_link_) return;
  EnsureLinkGeometryCalculated();
  if (!geometry_valid_) return;
  const Vec2<double> projection = direction_ * (view_ - start_).Dot(direction_);
  // A link of length 0 has no fraction: 0 / 0, written out as a quiet NaN.
  fraction_ = length_ != 0 ? FastMath::sqrt(projection.LengthSquared()) / length_
                           : std::numeric_limits<double>::quiet_NaN();
  if (direction_.Dot(projection) < 0) fraction_ = -fraction_;
  // Comparisons rather than std::clamp: a NaN fraction must stay NaN.
  double c = fraction_;
  if (c < 0) c = 0;
  if (c > 1) c = 1;
  width_ = (1 - c) * start_data_->corridor_width + c * end_data_->corridor_width;
  if (fraction_ < 0) {
    UpdateFromPoint(start_);
  } else if (fraction_ > 1) {
    UpdateFromPoint(end_);
  } else {
    UpdateFromPoint(start_ + projection);
  }
}

void ConstraintBuilder::UpdateFromPoint(const Vec2<double>& point) {
  closest_point_ = point;
  normal_ = point - view_;
  distance_ = FastMath::sqrt(normal_.LengthSquared());
  if (distance_ != 0) normal_ = normal_ / distance_;
}

double ConstraintBuilder::GetCollisionDepth() const {
  if (!geometry_valid_) return std::numeric_limits<double>::max();
  return width_ - distance_;
}

double ConstraintBuilder::GetCollisionDepth(double scale, double offset) const {
  if (!geometry_valid_) return std::numeric_limits<double>::max();
  return offset + scale * width_ - distance_;
}

Vec2<double> ConstraintBuilder::GetCollisionPoint() const { return closest_point_ - normal_ * width_; }

Vec2<double> ConstraintBuilder::GetCollisionPoint(double scale, double offset) const {
  return closest_point_ - normal_ * (scale * width_ + offset);
}

}  // namespace vistara::spatial
