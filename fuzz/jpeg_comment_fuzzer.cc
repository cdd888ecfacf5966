// Comment framing: any text through FindMessages and GetMessage. A date read back must write and
// read again as itself.
#include <cstdint>
#include <memory>
#include <string>

#include "common/internal/jpeg_comments.h"
#include "common/internal/jpeg_comments_dates.h"

namespace {

class RawMessage : public loupe::JpegCommentMessage {
 public:
  JpegCommentMessage* CreateNewMessage() const override { return new RawMessage; }
  void AppendToString(std::string* out) const override { out->append(body_); }
  bool FromString(const std::string& body) override {
    body_ = body;
    return body.size() % 7 != 3;  // refuse some bodies, to reach the refusal path
  }

 private:
  std::string body_;
};

bool Registered() {
  loupe::JpegCommentRegisterFamily("AD", new loupe::JpegCommentMessageDominantTileAcquisitionDate(0.5f));
  loupe::JpegCommentRegisterFamily("X", new RawMessage);
  loupe::JpegCommentSetRegistrationClosed();
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool registered = Registered();
  (void)registered;
  const std::string text(reinterpret_cast<const char*>(data), size);
  loupe::JpegCommentInputBuffer input(text);
  if (!input.FindMessages()) return 0;
  std::unique_ptr<RawMessage> raw(loupe::JpegCommentCreateMessage<RawMessage>("X"));
  input.GetMessage(raw.get());
  std::unique_ptr<loupe::JpegCommentMessageTileAcquisitionDates> dates(
      loupe::JpegCommentCreateMessage<loupe::JpegCommentMessageTileAcquisitionDates>("AD"));
  if (!input.GetMessage(dates.get())) return 0;
  std::string body;
  dates->AppendToString(&body);
  loupe::JpegCommentOutputBuffer out;
  if (!out.AppendMessage(*dates)) __builtin_trap();
  out.Finalize();
  std::unique_ptr<loupe::JpegCommentDate> again(loupe::JpegCommentAggregatedTileDateIn(out.buffer().c_str()));
  std::string body_again;
  if (again) again->AppendToString(&body_again);
  if (body_again != body) __builtin_trap();
  return 0;
}
