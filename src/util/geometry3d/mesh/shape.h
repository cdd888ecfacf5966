// The in-memory mesh: a Shape owns pools of points (double), normals and texture coordinates
// (float), a list of Materials and a list of IndexSets. An IndexSet is one batch of primitives of
// one format drawn with one material; its corners are three parallel arrays of indices into the
// pools (normals and texture coordinates may be absent: empty arrays).
//
// Formats and strides (GetStride): 0 kTriangles 3, 1 kTriangleStrip 0, 2 kTriangleFan 0,
// 3 kQuads 4, 4 kPolygon 0 (split like a fan), 5 kLines 2. A stride of 0 means variable-length
// primitives separated by the index -1 in point_indices (and at the same places in the others).
//
// Ownership: the shape owns every Material and IndexSet in its lists and deletes them in Clear()
// and in its destructor; each points back to the shape (not owned). A Shape belongs to one
// thread at a time.
//
// Failure: Validate reports by its result and a text. Pool look-ups (GetPoint...) and RemoveMaterial
// and RemoveIndexSet with an index out of range let the container's std::out_of_range
// ("vector::_M_range_check") pass through. Checks report "Check failed: ..." and go on.
#ifndef VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_H_
#define VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_H_

#include <string>
#include <vector>

#include "util/geometry3d/vector.h"

namespace geometry3d {

class Shape;

class Material {
 public:
  Material() = default;

  // Every field but the owning shape.
  void CopyFrom(const Material& other);
  // Colours, shininess and transparency by floating-point equality, then the texture URI and the
  // sides; the owning shape isn't compared.
  bool IsEqual(const Material& other) const;
  // False with "Invalid Material, has no shape" when no shape owns it.
  bool Validate(std::string* error_msg) const;

  Shape* shape() const { return shape_; }
  void set_shape(Shape* shape) { shape_ = shape; }
  const Vector3<float>& ambient_color() const { return ambient_color_; }
  void set_ambient_color(const Vector3<float>& c) { ambient_color_ = c; }
  const Vector3<float>& diffuse_color() const { return diffuse_color_; }
  void set_diffuse_color(const Vector3<float>& c) { diffuse_color_ = c; }
  const Vector3<float>& specular_color() const { return specular_color_; }
  void set_specular_color(const Vector3<float>& c) { specular_color_ = c; }
  const Vector3<float>& emissive_color() const { return emissive_color_; }
  void set_emissive_color(const Vector3<float>& c) { emissive_color_ = c; }
  const Vector3<float>& transparent_color() const { return transparent_color_; }
  void set_transparent_color(const Vector3<float>& c) { transparent_color_ = c; }
  // Coded in 0..128.
  float shininess() const { return shininess_; }
  void set_shininess(float v) { shininess_ = v; }
  // Coded in 0..1.
  float transparency() const { return transparency_; }
  void set_transparency(float v) { transparency_ = v; }
  // Empty for an untextured material.
  const std::string& texture_uri() const { return texture_uri_; }
  void set_texture_uri(const std::string& uri) { texture_uri_ = uri; }
  bool double_sided() const { return double_sided_; }
  void set_double_sided(bool v) { double_sided_ = v; }

 private:
  Shape* shape_ = nullptr;
  // Red, green, blue in 0..1.
  Vector3<float> ambient_color_;
  Vector3<float> diffuse_color_;
  Vector3<float> specular_color_;
  Vector3<float> emissive_color_;
  Vector3<float> transparent_color_;
  float shininess_ = 0;
  float transparency_ = 0;
  std::string texture_uri_;
  bool double_sided_ = false;
};

class IndexSet {
 public:
  enum Format {
    kTriangles = 0,
    kTriangleStrip = 1,
    kTriangleFan = 2,
    kQuads = 3,
    kPolygon = 4,
    kLines = 5,
  };
  // The index between delimited primitives.
  static constexpr int kDelimiter = -1;

  IndexSet() = default;

  // Empties the three arrays; format and material stay.
  void Clear();
  // Corners per primitive; 0 for the delimited formats and for an unknown format.
  int GetStride() const;
  // Every field but the owning shape.
  void CopyFrom(const IndexSet& other);
  // Appends the other's arrays (same format, else a check report) with no delimiter between.
  void AppendIndexSet(const IndexSet& index_set);
  // Same format and material, and the same arrays present.
  bool IsCompatible(const IndexSet& other) const;
  // Format and material only: the index arrays are never told apart (kept as it always was,
  // and Shape::IsEqual inherits it).
  bool IsEqual(const IndexSet& other) const;
  bool Validate(std::string* error_msg) const;

  // The pool entry named at position n of the matching index array; an index outside the pool
  // (a delimiter included) throws std::out_of_range. Without a shape: "Check failed: shape_" and a
  // zero value, since there is no pool to look in.
  const Vector3<double>& GetPoint(int n) const;
  const Vector3<float>& GetNormal(int n) const;
  const Vector2<float>& GetTexCoord(int n) const;
  // Null for a material index below 0.
  Material* GetMaterial() const;

  Shape* shape() const { return shape_; }
  void set_shape(Shape* shape) { shape_ = shape; }
  int format() const { return format_; }
  void set_format(int format) { format_ = format; }
  int material_index() const { return material_index_; }
  void set_material_index(int i) { material_index_ = i; }
  const std::vector<int>& point_indices() const { return point_indices_; }
  std::vector<int>* mutable_point_indices() { return &point_indices_; }
  const std::vector<int>& normal_indices() const { return normal_indices_; }
  std::vector<int>* mutable_normal_indices() { return &normal_indices_; }
  const std::vector<int>& tex_coord_indices() const { return tex_coord_indices_; }
  std::vector<int>* mutable_tex_coord_indices() { return &tex_coord_indices_; }

 private:
  Shape* shape_ = nullptr;
  int format_ = kTriangles;
  int material_index_ = -1;
  std::vector<int> point_indices_;
  std::vector<int> normal_indices_;
  std::vector<int> tex_coord_indices_;
};

class Shape {
 public:
  Shape() = default;
  ~Shape();
  Shape(const Shape&) = delete;
  Shape& operator=(const Shape&) = delete;

  void Clear();
  // New entries with default fields, owned by the shape, at the end of the list.
  Material* AddNewMaterial();
  IndexSet* AddNewIndexSet();
  Material* AppendMaterial(const Material& material);
  IndexSet* AppendIndexSet(const IndexSet& index_set);
  // Deletes entry i; sets of material i lose their material (-1), later ones move down by 1.
  void RemoveMaterial(int i);
  void RemoveIndexSet(int i);

  void CopyFrom(const Shape& other);
  // Appends the other's materials, pools and index sets, shifting indices by the old sizes.
  // The material index of a set without material (-1) is shifted too, to material_base - 1.
  void AppendShape(const Shape& other);
  bool IsEqual(const Shape& other) const;
  // True when every material and index set is valid; otherwise false and the first reason.
  bool Validate(std::string* error_msg) const;

  const std::vector<Vector3<double>>& points() const { return points_; }
  std::vector<Vector3<double>>* mutable_points() { return &points_; }
  const std::vector<Vector3<float>>& normals() const { return normals_; }
  std::vector<Vector3<float>>* mutable_normals() { return &normals_; }
  const std::vector<Vector2<float>>& tex_coords() const { return tex_coords_; }
  std::vector<Vector2<float>>* mutable_tex_coords() { return &tex_coords_; }
  const std::vector<Material*>& materials() const { return materials_; }
  std::vector<Material*>* mutable_materials() { return &materials_; }
  const std::vector<IndexSet*>& index_sets() const { return index_sets_; }
  std::vector<IndexSet*>* mutable_index_sets() { return &index_sets_; }

 private:
  std::vector<Vector3<double>> points_;
  std::vector<Vector3<float>> normals_;
  std::vector<Vector2<float>> tex_coords_;
  std::vector<Material*> materials_;
  std::vector<IndexSet*> index_sets_;
};

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_H_
