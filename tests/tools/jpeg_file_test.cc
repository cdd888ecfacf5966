// The JPEG segment walker of the jpeg subcommand, and the subcommand on real files: JPEGs made
// with libjpeg, dates written and read back by the command and by exiftool, pixels compared. The
// subcommand's other cases are in jpeg.cases.
#include "jpeg_file.h"

#include <gtest/gtest.h>
#include <jpeglib.h>

#include "test_util.h"

namespace vistara::testing {
namespace {

namespace jpeg = cli::jpeg;

// SOI, APP0 of 2 payload bytes, COM "abc", SOS with an empty header, two data bytes, EOI.
const char* const kTinyJpeg = "FF D8 FF E0 00 04 4A 46 FF FE 00 05 61 62 63 FF DA 00 02 12 34 FF D9";

std::optional<std::string> Comment(const std::string& file) {
  std::optional<std::string> comment;
  std::string error;
  return jpeg::ReadComment(file, &comment, &error) ? comment : std::string("<error>");
}

TEST(JpegFileTest, WalkerReadsAndReplacesComments) {
  const std::string tiny = FromHex(kTinyJpeg);
  std::string out, error;
  ASSERT_TRUE(jpeg::ReplaceComment(tiny, "*#K0#*0*AD*2008:05:17*#0K#*", &out, &error));
  EXPECT_EQ(ToHex(out),
            "FF D8 FF E0 00 04 4A 46 FF FE 00 1D 2A 23 4B 30 23 2A 30 2A 41 44 2A 32 30 30 38 3A 30 35 3A 31 37 2A 23 "
            "30 4B 23 2A FF DA 00 02 12 34 FF D9");
  // No comment yet: the new one goes behind the APPn segments. Every later comment is dropped.
  ASSERT_TRUE(jpeg::ReplaceComment(FromHex("FF D8 FF E0 00 02 FF E1 00 02 FF DB 00 02 FF DA 00 02 77"), "x", &out,
                                   &error));
  EXPECT_EQ(ToHex(out), "FF D8 FF E0 00 02 FF E1 00 02 FF FE 00 03 78 FF DB 00 02 FF DA 00 02 77");
  ASSERT_TRUE(jpeg::ReplaceComment(FromHex("FF D8 FF FE 00 03 61 FF DB 00 02 FF FE 00 03 62 FF DA 00 02 77"), "", &out,
                                   &error));
  EXPECT_EQ(ToHex(out), "FF D8 FF FE 00 02 FF DB 00 02 FF DA 00 02 77");

  // Every prefix of the tiny file up to its scan header fails cleanly (each reason: jpeg.cases).
  for (size_t n = 0; n < 19; ++n) EXPECT_EQ(Comment(tiny.substr(0, n)), "<error>") << n;

  // A full-size comment round-trips; one more byte doesn't fit.
  const std::string big(jpeg::kMaxCommentLength, 'c');
  ASSERT_TRUE(jpeg::ReplaceComment(tiny, big, &out, &error));
  EXPECT_EQ(Comment(out), big);
  EXPECT_FALSE(jpeg::ReplaceComment(tiny, big + "c", &out, &error));
}

// An RGB pattern as a baseline JPEG, made by libjpeg.
std::string MakeJpeg(int width, int height) {
  jpeg_compress_struct c{};
  jpeg_error_mgr err{};
  c.err = jpeg_std_error(&err);
  jpeg_create_compress(&c);
  unsigned char* mem = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&c, &mem, &size);
  c.image_width = width;
  c.image_height = height;
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_start_compress(&c, TRUE);
  std::vector<unsigned char> row(width * 3);
  while (c.next_scanline < c.image_height) {
    for (int i = 0; i < width * 3; ++i) row[i] = static_cast<unsigned char>(i * 5 ^ c.next_scanline * 3);
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&c, rows, 1);
  }
  jpeg_finish_compress(&c);
  std::string bytes(reinterpret_cast<char*>(mem), size);
  jpeg_destroy_compress(&c);
  free(mem);
  return bytes;
}

// The pixels as libjpeg decodes them.
std::string DecodePixels(const std::string& bytes) {
  jpeg_decompress_struct d{};
  jpeg_error_mgr err{};
  d.err = jpeg_std_error(&err);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  jpeg_read_header(&d, TRUE);
  jpeg_start_decompress(&d);
  std::string pixels;
  std::vector<unsigned char> row(d.output_width * d.output_components);
  while (d.output_scanline < d.output_height) {
    JSAMPROW rows[1] = {row.data()};
    jpeg_read_scanlines(&d, rows, 1);
    pixels.append(reinterpret_cast<char*>(row.data()), row.size());
  }
  jpeg_finish_decompress(&d);
  jpeg_destroy_decompress(&d);
  return pixels;
}

TEST(JpegFileTest, CommandWritesDatesThatExiftoolReads) {
  const TempDir dir("vistara-jpeg-test-");
  const std::string cli = VISTARA_CLI_PATH, tile = dir / "tile.jpg";
  const std::string original = MakeJpeg(64, 48);
  WriteFile(tile, original);
  std::string out;
  const std::string original_pixels = DecodePixels(original);
  ASSERT_EQ(original_pixels.size(), 64u * 48 * 3);

  ASSERT_EQ(RunShell(cli + " jpeg write-dates " + tile + " --date 2008:05:17=0.6 --date 2007:01:01=0.4", &out), 0);
  EXPECT_EQ(out, tile + ": wrote 2008:05:17 (*#K0#*0*AD*2008:05:17*#0K#*)\n");
  const std::string written = ReadFile(tile);
  // The image is left alone: the file grows by a COM segment, and decodes to the same pixels.
  EXPECT_EQ(written.size(), original.size() + 4 + 27);
  EXPECT_EQ(DecodePixels(written), original_pixels);
  ASSERT_EQ(RunShell("exiftool -b -Comment " + tile, &out), 0) << "exiftool is needed (libimage-exiftool-perl)";
  EXPECT_EQ(out, "*#K0#*0*AD*2008:05:17*#0K#*");

  // The other way round: exiftool writes the comment, the command reads it.
  ASSERT_EQ(RunShell("exiftool -q -overwrite_original '-Comment=tile *#K0#*0*AD*1999:12:31*#0K#*' " + tile, &out), 0);
  ASSERT_EQ(RunShell(cli + " jpeg dates --json " + tile, &out), 0);
  EXPECT_EQ(out, "{\"date\":\"1999:12:31\",\"day\":31,\"file\":\"" + tile + "\",\"month\":12,\"year\":1999}\n");
  EXPECT_EQ(DecodePixels(ReadFile(tile)), original_pixels);
}

}  // namespace
}  // namespace vistara::testing
