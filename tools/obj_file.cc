#include "obj_file.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

namespace vistara::cli::obj {
namespace {

using geometry3d::IndexSet;
using geometry3d::Material;
using geometry3d::Shape;
using geometry3d::Vector2;
using geometry3d::Vector3;

std::vector<std::string> Words(const std::string& line) {
  std::vector<std::string> words;
  std::istringstream s(line);
  for (std::string w; s >> w;) words.push_back(w);
  return words;
}

bool ParseNumber(const std::string& text, double* value) {
  char* end = nullptr;
  errno = 0;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && !errno && !*end && std::isfinite(*value);
}

bool ParseInt(const std::string& text, long* value) {
  char* end = nullptr;
  errno = 0;
  *value = std::strtol(text.c_str(), &end, 10);
  return !text.empty() && !errno && !*end;
}

// Reads words[1..] as numbers: between `min` and `max` of them.
bool Numbers(const std::vector<std::string>& words, size_t min, size_t max, std::vector<double>* values,
             std::string* error) {
  values->clear();
  if (words.size() - 1 < min || words.size() - 1 > max) {
    *error = "'" + words[0] + "' needs " + (min == max ? std::to_string(min) : std::to_string(min) + " to " + std::to_string(max)) +
             " numbers, got " + std::to_string(words.size() - 1);
    return false;
  }
  for (size_t i = 1; i < words.size(); ++i) {
    double v = 0;
    if (!ParseNumber(words[i], &v)) {
      *error = "bad number '" + words[i] + "'";
      return false;
    }
    values->push_back(v);
  }
  return true;
}

// Normals, texture coordinates and material values are floats: beyond the float range the
// conversion would be undefined, and an infinity could not be written back.
bool FloatRange(const std::vector<double>& values, std::string* error) {
  for (double v : values) {
    if (std::fabs(v) > FLT_MAX) {
      *error = "number beyond the float range: " + NumberText(v);
      return false;
    }
  }
  return true;
}

// A colour of one (grey) or three values.
bool Color(const std::vector<std::string>& words, Vector3<float>* color, std::string* error) {
  std::vector<double> v;
  if (words.size() == 2 ? !Numbers(words, 1, 1, &v, error) : !Numbers(words, 3, 3, &v, error)) return false;
  if (!FloatRange(v, error)) return false;
  if (v.size() == 1) v = {v[0], v[0], v[0]};
  *color = Vector3<float>(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]));
  return true;
}

// One OBJ index (1-based, or negative counting back from the last of `count` entries) as a pool
// index; false when it names no entry read so far.
bool ResolveIndex(const std::string& text, const char* what, size_t count, int* index, std::string* error) {
  long raw = 0;
  if (!ParseInt(text, &raw)) {
    *error = "bad index '" + text + "'";
    return false;
  }
  const long resolved = raw > 0 ? raw - 1 : static_cast<long>(count) + raw;
  if (raw == 0 || resolved < 0 || resolved >= static_cast<long>(count)) {
    *error = std::string(what) + " index " + text + " out of range (" + std::to_string(count) + " " + what + "s)";
    return false;
  }
  *index = static_cast<int>(resolved);
  return true;
}

struct Corner {
  int point = -1, tex_coord = -1, normal = -1;
};

bool ReadCorner(const std::string& word, const Shape& shape, Corner* c, std::string* error) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t slash; (slash = word.find('/', start)) != std::string::npos; start = slash + 1) {
    parts.push_back(word.substr(start, slash - start));
  }
  parts.push_back(word.substr(start));
  if (parts.size() > 3) {
    *error = "bad corner '" + word + "'";
    return false;
  }
  if (!ResolveIndex(parts[0], "point", shape.points().size(), &c->point, error)) return false;
  if (parts.size() > 1 && !parts[1].empty() &&
      !ResolveIndex(parts[1], "texture coordinate", shape.tex_coords().size(), &c->tex_coord, error)) {
    return false;
  }
  if (parts.size() > 2 && !ResolveIndex(parts[2], "normal", shape.normals().size(), &c->normal, error)) return false;
  return true;
}

enum Kind { kFaceTriangle, kFacePolygon, kLine };

class ObjReader {
 public:
  ObjReader(const std::string& folder, Shape* shape, std::vector<std::string>* warnings)
      : folder_(folder), shape_(shape), warnings_(warnings) {}

  bool Line(int number, const std::vector<std::string>& words, std::string* error) {
    const std::string& key = words[0];
    std::vector<double> v;
    if (key == "v") {
      if (!Numbers(words, 3, 7, &v, error)) return false;
      shape_->mutable_points()->emplace_back(v[0], v[1], v[2]);
    } else if (key == "vn") {
      if (!Numbers(words, 3, 3, &v, error) || !FloatRange(v, error)) return false;
      shape_->mutable_normals()->emplace_back(static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2]));
    } else if (key == "vt") {
      if (!Numbers(words, 1, 3, &v, error) || !FloatRange(v, error)) return false;
      shape_->mutable_tex_coords()->emplace_back(static_cast<float>(v[0]), static_cast<float>(v.size() > 1 ? v[1] : 0.0));
    } else if (key == "f" || key == "l") {
      return Primitive(words, error);
    } else if (key == "usemtl") {
      if (words.size() != 2) {
        *error = "usemtl needs one name";
        return false;
      }
      auto it = std::find(names_.begin(), names_.end(), words[1]);
      material_ = static_cast<int>(it - names_.begin());
      if (it == names_.end()) {
        Warn(number, "no material '" + words[1] + "' in the MTL libraries read, using a default one");
        names_.push_back(words[1]);
        shape_->AddNewMaterial();
      }
    } else if (key == "mtllib") {
      for (size_t i = 1; i < words.size(); ++i) {
        if (!Library(number, words[i], error)) return false;
      }
    }
    return true;
  }

 private:
  void Warn(int number, const std::string& text) {
    if (warnings_) warnings_->push_back("line " + std::to_string(number) + ": " + text);
  }

  bool Library(int number, const std::string& name, std::string* error) {
    const std::string path = folder_.empty() ? name : (std::filesystem::path(folder_) / name).string();
    std::ifstream in(path, std::ios::binary);
    if (!in) {
      Warn(number, "cannot read '" + path + "', going on without it");
      return true;
    }
    std::ostringstream text;
    text << in.rdbuf();
    std::string mtl_error;
    if (!ReadMtl(text.str(), shape_, &names_, &mtl_error)) {
      *error = name + ": " + mtl_error;
      return false;
    }
    return true;
  }

  bool Primitive(const std::vector<std::string>& words, std::string* error) {
    const bool face = words[0] == "f";
    const size_t corners = words.size() - 1;
    if (corners < (face ? 3u : 2u)) {
      *error = face ? "a face needs at least 3 corners" : "a line needs at least 2 corners";
      return false;
    }
    std::vector<Corner> c(corners);
    for (size_t i = 0; i < corners; ++i) {
      if (!ReadCorner(words[i + 1], *shape_, &c[i], error)) return false;
      if (!face && c[i].normal >= 0) {
        *error = "a line corner takes no normal";
        return false;
      }
      if ((c[i].tex_coord < 0) != (c[0].tex_coord < 0) || (c[i].normal < 0) != (c[0].normal < 0)) {
        *error = "corners of one " + std::string(face ? "face" : "line") + " differ in form";
        return false;
      }
    }
    const Kind kind = !face ? kLine : corners == 3 ? kFaceTriangle : kFacePolygon;
    IndexSet* set = SetFor(kind, c[0].tex_coord >= 0, c[0].normal >= 0);
    auto add = [set](const Corner& k) {
      set->mutable_point_indices()->push_back(k.point);
      if (k.tex_coord >= 0) set->mutable_tex_coord_indices()->push_back(k.tex_coord);
      if (k.normal >= 0) set->mutable_normal_indices()->push_back(k.normal);
    };
    if (kind == kLine) {
      for (size_t i = 0; i + 1 < corners; ++i) {
        add(c[i]);
        add(c[i + 1]);
      }
      return true;
    }
    for (const Corner& k : c) add(k);
    if (kind == kFacePolygon) {  // the delimiter stands in every array the set has
      set->mutable_point_indices()->push_back(IndexSet::kDelimiter);
      if (c[0].tex_coord >= 0) set->mutable_tex_coord_indices()->push_back(IndexSet::kDelimiter);
      if (c[0].normal >= 0) set->mutable_normal_indices()->push_back(IndexSet::kDelimiter);
    }
    return true;
  }

  IndexSet* SetFor(Kind kind, bool tex_coords, bool normals) {
    const auto key = std::make_tuple(material_, static_cast<int>(kind), tex_coords, normals);
    auto it = sets_.find(key);
    if (it != sets_.end()) return it->second;
    IndexSet* set = shape_->AddNewIndexSet();
    set->set_format(kind == kLine ? IndexSet::kLines : kind == kFaceTriangle ? IndexSet::kTriangles : IndexSet::kPolygon);
    set->set_material_index(material_);
    sets_[key] = set;
    return set;
  }

  std::string folder_;
  Shape* shape_;
  std::vector<std::string>* warnings_;  // may be null
  std::vector<std::string> names_;
  int material_ = -1;
  std::map<std::tuple<int, int, bool, bool>, IndexSet*> sets_;
};

// Calls `line` with the number and words of each non-blank, non-comment line; its error comes back
// as "line N: reason".
template <class F>
bool ForEachLine(const std::string& text, F line, std::string* error) {
  std::istringstream in(text);
  std::string l;
  for (int number = 1; std::getline(in, l); ++number) {
    const size_t hash = l.find('#');
    if (hash != std::string::npos) l.erase(hash);
    const std::vector<std::string> words = Words(l);
    if (words.empty()) continue;
    std::string reason;
    if (!line(number, words, &reason)) {
      *error = "line " + std::to_string(number) + ": " + reason;
      return false;
    }
  }
  return true;
}

}  // namespace

bool ReadObj(const std::string& text, const std::string& folder, Shape* shape, std::string* error,
             std::vector<std::string>* warnings) {
  ObjReader reader(folder, shape, warnings);
  return ForEachLine(
      text,
      [&](int number, const std::vector<std::string>& words, std::string* reason) {
        return reader.Line(number, words, reason);
      },
      error);
}

bool ReadMtl(const std::string& text, Shape* shape, std::vector<std::string>* names, std::string* error) {
  Material* m = nullptr;
  return ForEachLine(
      text,
      [&](int, const std::vector<std::string>& words, std::string* reason) {
        const std::string& key = words[0];
        if (key == "newmtl") {
          if (words.size() != 2) {
            *reason = "newmtl needs one name";
            return false;
          }
          if (std::find(names->begin(), names->end(), words[1]) != names->end()) {
            *reason = "material '" + words[1] + "' defined twice";
            return false;
          }
          names->push_back(words[1]);
          m = shape->AddNewMaterial();
          return true;
        }
        static const char* const kKnown[] = {"Ka", "Kd", "Ks", "Ke", "Tf", "Ns", "d", "Tr", "map_Kd"};
        if (std::find(std::begin(kKnown), std::end(kKnown), key) == std::end(kKnown)) return true;
        if (!m) {
          *reason = "'" + key + "' before newmtl";
          return false;
        }
        Vector3<float> color;
        std::vector<double> v;
        if (key == "map_Kd") {
          if (words.size() < 2) {
            *reason = "map_Kd needs a file name";
            return false;
          }
          m->set_texture_uri(words.back());
        } else if (key[0] == 'K' || key == "Tf") {
          if (!Color(words, &color, reason)) return false;
          if (key == "Ka") m->set_ambient_color(color);
          if (key == "Kd") m->set_diffuse_color(color);
          if (key == "Ks") m->set_specular_color(color);
          if (key == "Ke") m->set_emissive_color(color);
          if (key == "Tf") m->set_transparent_color(color);
        } else {
          if (!Numbers(words, 1, 1, &v, reason) || !FloatRange(v, reason)) return false;
          if (key == "Ns") m->set_shininess(static_cast<float>(std::clamp(v[0], 0.0, 128.0)));
          if (key == "d") m->set_transparency(static_cast<float>(1.0 - v[0]));
          if (key == "Tr") m->set_transparency(static_cast<float>(v[0]));
        }
        return true;
      },
      error);
}

std::string NumberText(double v) {
  char buf[64];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

std::string NumberText(float v) {
  char buf[64];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

namespace {

class ObjWriter {
 public:
  ObjWriter(const Shape& shape, std::ostringstream* out) : shape_(shape), out_(*out) {}

  // Writes the primitives of `set` as faces and lines.
  void Set(const IndexSet& set) {
    const std::vector<int>& p = set.point_indices();
    auto run_end = [&p](size_t at) {
      while (at < p.size() && p[at] != IndexSet::kDelimiter) ++at;
      return at;
    };
    switch (set.format()) {
      case IndexSet::kTriangles:
      case IndexSet::kQuads:
      case IndexSet::kLines: {
        const size_t stride = static_cast<size_t>(set.GetStride());
        for (size_t i = 0; i + stride <= p.size(); i += stride) {
          std::vector<size_t> c(stride);
          for (size_t k = 0; k < stride; ++k) c[k] = i + k;
          Primitive(set, c, set.format() == IndexSet::kLines ? "l" : "f");
        }
        break;
      }
      case IndexSet::kPolygon:
        for (size_t i = 0; i < p.size(); i = run_end(i) + 1) {
          std::vector<size_t> c;
          for (size_t k = i; k < run_end(i); ++k) c.push_back(k);
          if (c.size() >= 3) Primitive(set, c, "f");
        }
        break;
      case IndexSet::kTriangleStrip:
      case IndexSet::kTriangleFan:
        for (size_t i = 0; i < p.size(); i = run_end(i) + 1) {
          const size_t end = run_end(i);
          for (size_t k = i; k + 2 < end; ++k) {
            if (set.format() == IndexSet::kTriangleFan) {
              Primitive(set, {i, k + 1, k + 2}, "f");
            } else if ((k - i) % 2 == 0) {
              Primitive(set, {k, k + 1, k + 2}, "f");
            } else {  // every second strip triangle turns the other way
              Primitive(set, {k + 1, k, k + 2}, "f");
            }
          }
        }
        break;
      default:
        break;  // an unknown format has no primitives to write
    }
  }

 private:
  // Corner attributes a face can't use for every corner (absent, delimiter, out of the pool) are
  // left off the whole face; a corner without a point drops the face.
  void Primitive(const IndexSet& set, const std::vector<size_t>& corners, const char* key) {
    auto usable = [&corners](const std::vector<int>& indices, size_t pool) {
      for (size_t c : corners) {
        if (c >= indices.size() || indices[c] < 0 || static_cast<size_t>(indices[c]) >= pool) return false;
      }
      return true;
    };
    if (!usable(set.point_indices(), shape_.points().size())) return;
    const bool tex = usable(set.tex_coord_indices(), shape_.tex_coords().size());
    const bool normal = key[0] == 'f' && usable(set.normal_indices(), shape_.normals().size());
    out_ << key;
    for (size_t c : corners) {
      out_ << ' ' << set.point_indices()[c] + 1;
      if (tex || normal) out_ << '/';
      if (tex) out_ << set.tex_coord_indices()[c] + 1;
      if (normal) out_ << '/' << set.normal_indices()[c] + 1;
    }
    out_ << '\n';
  }

  const Shape& shape_;
  std::ostringstream& out_;
};

std::string ColorText(const char* key, const Vector3<float>& c) {
  return std::string(key) + " " + NumberText(c.x) + " " + NumberText(c.y) + " " + NumberText(c.z) + "\n";
}

}  // namespace

std::string WriteObj(const Shape& shape, const std::string& mtl_name, std::string* mtl) {
  std::ostringstream out;
  out << "# vistara-spatial: " << shape.points().size() << " points, " << shape.normals().size() << " normals, "
      << shape.tex_coords().size() << " texture coordinates, " << shape.materials().size() << " materials, "
      << shape.index_sets().size() << " index sets\n";
  mtl->clear();
  const bool materials = !shape.materials().empty() && !mtl_name.empty();
  if (materials) {
    out << "mtllib " << mtl_name << "\n";
    for (size_t i = 0; i < shape.materials().size(); ++i) {
      const Material& m = *shape.materials()[i];
      *mtl += "newmtl material" + std::to_string(i) + "\n" + ColorText("Ka", m.ambient_color()) +
              ColorText("Kd", m.diffuse_color()) + ColorText("Ks", m.specular_color()) +
              ColorText("Ke", m.emissive_color()) + ColorText("Tf", m.transparent_color()) +
              "Ns " + NumberText(m.shininess()) + "\nd " + NumberText(1.0f - m.transparency()) + "\n";
      if (!m.texture_uri().empty()) *mtl += "map_Kd " + m.texture_uri() + "\n";
    }
  }
  for (const auto& p : shape.points()) out << "v " << NumberText(p.x) << ' ' << NumberText(p.y) << ' ' << NumberText(p.z) << '\n';
  for (const auto& n : shape.normals()) out << "vn " << NumberText(n.x) << ' ' << NumberText(n.y) << ' ' << NumberText(n.z) << '\n';
  for (const auto& t : shape.tex_coords()) out << "vt " << NumberText(t.x) << ' ' << NumberText(t.y) << '\n';

  std::vector<const IndexSet*> sets(shape.index_sets().begin(), shape.index_sets().end());
  std::stable_partition(sets.begin(), sets.end(), [](const IndexSet* s) { return s->material_index() < 0; });
  ObjWriter writer(shape, &out);
  int material = -1;
  for (size_t i = 0; i < sets.size(); ++i) {
    const IndexSet& set = *sets[i];
    const int m = set.material_index();
    if (materials && m >= 0 && m != material && static_cast<size_t>(m) < shape.materials().size()) {
      out << "usemtl material" << m << "\n";
      material = m;
    }
    writer.Set(set);
  }
  return out.str();
}

std::vector<std::pair<std::string, std::string>> ObjFiles(const Shape& shape, const std::string& path) {
  std::filesystem::path mtl_path(path);
  mtl_path.replace_extension(".mtl");
  std::string mtl;
  const std::string obj = WriteObj(shape, path == "-" ? "" : mtl_path.filename().string(), &mtl);
  std::vector<std::pair<std::string, std::string>> files;
  if (!mtl.empty()) files.emplace_back(mtl_path.string(), mtl);
  files.emplace_back(path, obj);
  return files;
}

}  // namespace vistara::cli::obj
