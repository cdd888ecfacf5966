// Queries to the panorama service, answered from two crossing streets: a 200 is a document the
// library's XML reader accepts, anything else a 400 or a 404 with a one-line reason.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "panorama_service.h"
#include "platform/xml/xml_reader.h"

namespace {
const vistara::cli::serve::StreetPanoramas& Crossing() {
  using vistara::cli::serve::Street;
  static const auto set = [] {
    std::string error;
    return vistara::cli::serve::StreetPanoramas::Build(
        {Street{1, "residential", "East & West", "2024-01", {{1, 0, 0}, {2, 0, 0.001}, {3, 0, 0.002}}},
         Street{2, "footway", "North", "", {{4, -0.001, 0.001}, {2, 0, 0.001}, {5, 0.001, 0.001}}}},
        {}, &error);
  }();
  return *set;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view query(reinterpret_cast<const char*>(data), size);
  const vistara::cli::serve::PanoramaReply reply = vistara::cli::serve::AnswerPanoramaQuery(Crossing(), query);
  if (reply.status == 200) {
    if (vistara::XmlReader(QByteArray::fromStdString(reply.body)).GetErrorsOccurred()) std::abort();
  } else if ((reply.status != 400 && reply.status != 404) || reply.body.empty() ||
             reply.body.find('\n') != std::string::npos) {
    std::abort();
  }
  return 0;
}
