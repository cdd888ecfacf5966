// Wavefront OBJ (and its MTL material library) to and from a geometry3d::Shape, for the shape and
// building subcommands.
//
// Reading keeps what the shape model can hold:
//   v x y z [w | r g b]   a point (the rest is dropped)     vn x y z   a normal (float range)
//   vt u [v [w]]          a texture coordinate (v 0 when absent)
//   f a b c ...           a face; corners v, v/vt, v//vn or v/vt/vn, 1-based, negative counts back
//   l a b ...             a polyline; corners v or v/vt
//   mtllib FILE...        material libraries, beside the OBJ file (the working folder for stdin)
//   usemtl NAME           the material of the faces after it
// As common OBJ readers do, a library that can't be read and a material that no library read
// defines are warnings, not errors: such a material is added with the model's defaults under its
// name, at its first usemtl.
// Anything else (g, o, s, vp, ...) is skipped. Faces of three corners go into a kTriangles set,
// faces of more into a kPolygon set (corners delimited by -1) so that no face is cut into
// triangles, and each polyline segment into a kLines set. One index set holds all faces of one
// material, kind and corner form (which of vt and vn they carry), in order of first appearance;
// all corners of one face must have the same form. Indices must name entries read before them.
// OBJ knows faces, not index sets, so a file written from a shape may come back with fewer sets.
//
// MTL: newmtl NAME, Ka/Kd/Ks/Ke/Tf r [g b] (Tf the transparent colour; one value means grey),
// Ns (kept within 0..128, the range the streams code), d (transparency is 1 - d) or Tr
// (transparency), map_Kd (the last word, options before it dropped). Every material of the
// libraries is added to the shape, in the order of the files, so that material indices survive
// a round trip. Double-sidedness has no MTL statement and is neither read nor written.
//
// Writing is the other way round: triangle strips and fans become triangles, polygons and quads
// stay faces, lines become two-corner `l` statements (normals dropped: `l` has none). Sets without
// material come first, since OBJ has no statement to go back to "no material"; materials are
// named material0, material1, ... in shape order. Without an MTL library the materials are left
// out, usemtl lines included.
//
// Failure: false and a one-line reason ("line 7: point index 9 out of range (8 points)"); the
// shape may then hold a part of the file. Warnings read alike ("line 2: cannot read 'a.mtl', ...").
#ifndef VISTARA_TOOLS_OBJ_FILE_H_
#define VISTARA_TOOLS_OBJ_FILE_H_

#include <string>
#include <utility>
#include <vector>

#include "util/geometry3d/mesh/shape.h"

namespace vistara::cli::obj {

// Reads OBJ text into *shape (which should be empty); MTL files named by mtllib are looked for in
// `folder` (empty: the working folder). Warnings are added to *warnings when it is given.
bool ReadObj(const std::string& text, const std::string& folder, geometry3d::Shape* shape, std::string* error,
             std::vector<std::string>* warnings = nullptr);
// Reads MTL text, adding each material to *shape and its name to *names.
bool ReadMtl(const std::string& text, geometry3d::Shape* shape, std::vector<std::string>* names,
             std::string* error);

// The OBJ text of `shape`; when the shape has materials and `mtl_name` is not empty the text names
// that library and *mtl gets its text (otherwise *mtl is emptied and usemtl lines stay unresolved).
std::string WriteObj(const geometry3d::Shape& shape, const std::string& mtl_name, std::string* mtl);
// The files that hold `shape` as OBJ at `path`, as (path, text): when the shape has materials and
// `path` is not "-" (standard output), first its library beside it (x.obj, x.mtl), then the OBJ.
std::vector<std::pair<std::string, std::string>> ObjFiles(const geometry3d::Shape& shape, const std::string& path);

// The shortest text that reads back as the same double or float.
std::string NumberText(double v);
std::string NumberText(float v);

}  // namespace vistara::cli::obj

#endif  // VISTARA_TOOLS_OBJ_FILE_H_
