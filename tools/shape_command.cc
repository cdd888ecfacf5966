// vistara-spatial shape: the shape stream from the command line.
//   shape info IN [--json]     header and contents of an encoded shape
#include <fstream>
#include <memory>
#include <sstream>

#include "cli.h"
#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/shape.h"

namespace vistara::cli {
namespace {

bool ReadFile(const std::string& path, std::string* bytes, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot open '" + path + "'";
    return false;
  }
  std::ostringstream s;
  s << in.rdbuf();
  *bytes = s.str();
  return true;
}

int Info(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 1) return inv.Fail("shape info needs exactly one IN");
  std::string bytes, error;
  if (!ReadFile(files[0], &bytes, &error)) return inv.Fail(error);
  const int version = loupe::ShapeDecoder::GetCodecVersionFromBuffer(bytes);
  if (version < 0) return inv.Fail(files[0] + ": not a shape stream");
  geometry3d::Shape shape;
  if (!loupe::ShapeDecoder::DecodeFromBuffer(bytes, &shape)) return inv.Fail(files[0] + ": cannot decode");
  inv.out() << "version " << version << "\n";
  inv.out() << "points " << shape.points().size() << "\n";
  return 0;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  if (inv.args().empty()) return inv.Fail("missing operation (encode, decode, info)");
  const std::string op = inv.args()[0];
  const std::vector<std::string> files(inv.args().begin() + 1, inv.args().end());
  if (op == "info") return Info(inv, files);
  return inv.Fail("unknown operation '" + op + "' (encode, decode, info)");
}

const Command kCommand{"shape", "encode, decode and inspect shape streams",
                       "Usage: vistara-spatial shape info IN [--json]\n", {}, Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
