// The JPEG segment walker of the jpeg subcommand, and the subcommand on real files: JPEGs made
// with libjpeg, dates written and read back by the command and by exiftool, pixels compared.
#include "jpeg_file.h"

#include <gtest/gtest.h>
#include <jpeglib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>

#include "test_util.h"

namespace vistara::testing {
namespace {

namespace jpeg = cli::jpeg;

// SOI, APP0 of 2 payload bytes, COM "abc", SOS with an empty header, two data bytes, EOI.
const char* const kTinyJpeg = "FF D8 FF E0 00 04 4A 46 FF FE 00 05 61 62 63 FF DA 00 02 12 34 FF D9";

std::optional<std::string> Comment(const std::string& file, std::string* error = nullptr) {
  std::optional<std::string> comment;
  std::string e;
  if (!jpeg::ReadComment(file, &comment, &e)) {
    if (error) *error = e;
    return std::string("<error>");
  }
  return comment;
}

TEST(JpegFileTest, WalkerReadsAndReplacesComments) {
  const std::string tiny = FromHex(kTinyJpeg);
  EXPECT_EQ(Comment(tiny), "abc");
  std::string out, error;
  ASSERT_TRUE(jpeg::ReplaceComment(tiny, "*#K0#*0*AD*2008:05:17*#0K#*", &out, &error));
  EXPECT_EQ(ToHex(out),
            "FF D8 FF E0 00 04 4A 46 FF FE 00 1D 2A 23 4B 30 23 2A 30 2A 41 44 2A 32 30 30 38 3A 30 35 3A 31 37 2A 23 "
            "30 4B 23 2A FF DA 00 02 12 34 FF D9");
  // No comment yet: the new one goes behind the APPn segments. Every later comment is dropped.
  const std::string no_com = FromHex("FF D8 FF E0 00 02 FF E1 00 02 FF DB 00 02 FF FE 00 02 FF DA 00 02 77");
  EXPECT_EQ(Comment(no_com), "");
  ASSERT_TRUE(jpeg::ReplaceComment(FromHex("FF D8 FF E0 00 02 FF E1 00 02 FF DB 00 02 FF DA 00 02 77"), "x", &out,
                                   &error));
  EXPECT_EQ(ToHex(out), "FF D8 FF E0 00 02 FF E1 00 02 FF FE 00 03 78 FF DB 00 02 FF DA 00 02 77");
  ASSERT_TRUE(jpeg::ReplaceComment(FromHex("FF D8 FF FE 00 03 61 FF DB 00 02 FF FE 00 03 62 FF DA 00 02 77"), "", &out,
                                   &error));
  EXPECT_EQ(ToHex(out), "FF D8 FF FE 00 02 FF DB 00 02 FF DA 00 02 77");
  // Fill bytes before a marker are allowed and kept.
  EXPECT_EQ(Comment(FromHex("FF D8 FF FF FF FE 00 03 7A FF DA 00 02")), "z");

  struct Bad {
    const char* hex;
    const char* error;
  } bad[] = {
      {"", "not a JPEG file (no start-of-image marker)"},
      {"FF D9", "not a JPEG file (no start-of-image marker)"},
      {"FF D8", "file ends before the image data"},
      {"FF D8 FF", "file ends inside a marker"},
      {"FF D8 FF FF FF", "file ends inside a marker"},
      {"FF D8 FF FE 00", "file ends inside a segment length"},
      {"FF D8 FF FE 00 01 FF DA 00 02", "segment length below 2 at byte 4"},
      {"FF D8 FF FE 00 00", "segment length below 2 at byte 4"},
      {"FF D8 FF FE 00 05 61 62", "segment at byte 2 runs past the end of the file"},
      {"FF D8 FF FE 00 02 00", "expected a marker at byte 6"},
      {"FF D8 FF D9", "image ends before any scan"},
      {"FF D8 FF D8", "unexpected marker at byte 2"},
  };
  for (const Bad& b : bad) {
    std::string e;
    EXPECT_EQ(Comment(FromHex(b.hex), &e), "<error>") << b.hex;
    EXPECT_EQ(e, b.error) << b.hex;
  }
  // Every prefix of the tiny file up to its scan header fails cleanly.
  for (size_t n = 0; n < 19; ++n) EXPECT_EQ(Comment(tiny.substr(0, n)), "<error>") << n;

  // 10^5 tiny segments walk in linear time; a full-size comment round-trips, one more byte doesn't fit.
  std::string many = FromHex("FF D8");
  for (int i = 0; i < 100000; ++i) many += FromHex("FF E5 00 02");
  many += FromHex("FF DA 00 02");
  const std::string big(jpeg::kMaxCommentLength, 'c');
  ASSERT_TRUE(jpeg::ReplaceComment(many, big, &out, &error));
  EXPECT_EQ(Comment(out), big);
  EXPECT_FALSE(jpeg::ReplaceComment(many, big + "c", &out, &error));
}

// An RGB gradient as a baseline JPEG, with an optional comment written by libjpeg.
std::string MakeJpeg(int width, int height, const char* comment) {
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
  jpeg_set_quality(&c, 85, TRUE);
  jpeg_start_compress(&c, TRUE);
  if (comment) jpeg_write_marker(&c, JPEG_COM, reinterpret_cast<const JOCTET*>(comment), std::strlen(comment));
  std::vector<unsigned char> row(width * 3);
  while (c.next_scanline < c.image_height) {
    for (int x = 0; x < width; ++x) {
      row[x * 3] = static_cast<unsigned char>(x * 255 / width);
      row[x * 3 + 1] = static_cast<unsigned char>(c.next_scanline * 255 / height);
      row[x * 3 + 2] = static_cast<unsigned char>((x ^ c.next_scanline) & 0xFF);
    }
    JSAMPROW rows[1] = {row.data()};
    jpeg_write_scanlines(&c, rows, 1);
  }
  jpeg_finish_compress(&c);
  std::string bytes(reinterpret_cast<char*>(mem), size);
  jpeg_destroy_compress(&c);
  free(mem);
  return bytes;
}

// The decoded pixels, and the comment libjpeg saw.
std::string DecodePixels(const std::string& bytes, std::string* comment) {
  jpeg_decompress_struct d{};
  jpeg_error_mgr err{};
  d.err = jpeg_std_error(&err);
  jpeg_create_decompress(&d);
  jpeg_mem_src(&d, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  jpeg_save_markers(&d, JPEG_COM, 0xFFFF);
  jpeg_read_header(&d, TRUE);
  comment->clear();
  for (jpeg_saved_marker_ptr m = d.marker_list; m; m = m->next) {
    comment->assign(reinterpret_cast<char*>(m->data), m->data_length);
  }
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

// The bytes from the scan header on: the compressed image, which writing a comment leaves alone.
std::string ImageData(const std::string& file) {
  std::vector<jpeg::Segment> segments;
  std::string error;
  if (!jpeg::ReadSegments(file, &segments, &error)) return "<" + error + ">";
  return file.substr(segments.back().start);
}

TEST(JpegFileTest, CommandWritesDatesThatExiftoolReads) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                    ("vistara-jpeg-test-" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  const std::string cli = VISTARA_CLI_PATH;
  const std::filesystem::path plain = dir / "plain.jpg", noted = dir / "noted.jpg";
  const std::string original = MakeJpeg(64, 48, nullptr);
  WriteFile(plain, original);
  WriteFile(noted, MakeJpeg(33, 17, "scanned 2009"));
  std::string out, comment;
  const std::string original_pixels = DecodePixels(original, &comment);
  ASSERT_EQ(original_pixels.size(), 64u * 48 * 3);

  ASSERT_EQ(RunShell(cli + " jpeg dates " + plain.string(), &out), 0);
  EXPECT_EQ(out, plain.string() + ": no acquisition date\n");

  ASSERT_EQ(RunShell(cli + " jpeg write-dates " + plain.string() + " --date 2008:05:17=0.6 --date 2007:01:01=0.4", &out), 0);
  EXPECT_EQ(out, plain.string() + ": wrote 2008:05:17 (*#K0#*0*AD*2008:05:17*#0K#*)\n");
  const std::string written = ReadFile(plain);
  EXPECT_EQ(DecodePixels(written, &comment), original_pixels);
  EXPECT_EQ(comment, "*#K0#*0*AD*2008:05:17*#0K#*");
  EXPECT_EQ(ImageData(written), ImageData(original));
  EXPECT_EQ(written.size(), original.size() + 4 + comment.size());

  ASSERT_EQ(RunShell("exiftool -b -Comment " + plain.string(), &out), 0) << "exiftool is needed (libimage-exiftool-perl)";
  EXPECT_EQ(out, "*#K0#*0*AD*2008:05:17*#0K#*");
  ASSERT_EQ(RunShell(cli + " jpeg dates " + plain.string() + " " + noted.string(), &out), 0);
  EXPECT_EQ(out, plain.string() + ": 2008:05:17\n" + noted.string() + ": no acquisition date\n");

  // A second write replaces the section and keeps the other text of the comment.
  ASSERT_EQ(RunShell(cli + " jpeg write-dates " + noted.string() + " --date 2001:02:03=1", &out), 0);
  ASSERT_EQ(RunShell(cli + " jpeg write-dates " + noted.string() + " --date 2002:00:00=0.7 --bound 0.7", &out), 0);
  ASSERT_EQ(RunShell("exiftool -b -Comment " + noted.string(), &out), 0);
  EXPECT_EQ(out, "scanned 2009*#K0#*0*AD*2002:00:00*#0K#*");
  ASSERT_EQ(RunShell(cli + " jpeg comment " + noted.string(), &out), 0);
  EXPECT_EQ(out, "scanned 2009*#K0#*0*AD*2002:00:00*#0K#*\n");

  // No date covers the bound: the file stays as it was.
  const std::string before = ReadFile(noted);
  EXPECT_EQ(RunShell(cli + " jpeg write-dates " + noted.string() + " --date 2003:01:01=0.5 --date 2004:01:01=0.5 --bound 0.6 2>&1", &out), 1);
  EXPECT_EQ(out, "vistara-spatial: no date covers at least 0.6 of the tile\n");
  EXPECT_EQ(ReadFile(noted), before);

  // The other way round: exiftool writes the comment, the command reads it.
  ASSERT_EQ(RunShell("exiftool -q -overwrite_original '-Comment=tile *#K0#*0*AD*1999:12:31*#0K#*' " + plain.string(), &out), 0);
  ASSERT_EQ(RunShell(cli + " jpeg dates --json " + plain.string(), &out), 0);
  EXPECT_NE(out.find("\"date\" : \"1999:12:31\""), std::string::npos) << out;
  EXPECT_EQ(DecodePixels(ReadFile(plain), &comment), original_pixels);

  // Raw output is the bytes; human output escapes what isn't printable.
  std::string raw_comment = "a\x01\xff\n";
  std::string with_bytes;
  ASSERT_TRUE(jpeg::ReplaceComment(original, raw_comment, &with_bytes, &out));
  WriteFile(plain, with_bytes);
  ASSERT_EQ(RunShell(cli + " jpeg comment --raw " + plain.string(), &out), 0);
  EXPECT_EQ(out, raw_comment);
  ASSERT_EQ(RunShell(cli + " jpeg comment " + plain.string(), &out), 0);
  EXPECT_EQ(out, "a\\001\\377\\n\n");
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace vistara::testing
