// Decoding with the system's image loaders: PNG, and ICNS as bundles ship it.
#include "Plinth/desktop/image_pixels.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>

namespace Plinth {
namespace {

// A 2x1 PNG, red then half-transparent green, made by the loader library.
std::vector<std::uint8_t> twoPixelPNG() {
  GdkPixbuf* pixbuf = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, 2, 1);
  guchar* pixels = gdk_pixbuf_get_pixels(pixbuf);
  const guchar values[] = {255, 0, 0, 255, 40, 200, 40, 128};
  std::copy(std::begin(values), std::end(values), pixels);
  gchar* buffer = nullptr;
  gsize size = 0;
  EXPECT_TRUE(gdk_pixbuf_save_to_buffer(pixbuf, &buffer, &size, "png", nullptr, nullptr));
  std::vector<std::uint8_t> bytes(buffer, buffer + size);
  g_free(buffer);
  g_object_unref(pixbuf);
  return bytes;
}

void appendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

// An ICNS file holding one PNG entry of type `type`.
std::vector<std::uint8_t> icnsWith(const std::vector<std::uint8_t>& png, const char* type) {
  std::vector<std::uint8_t> bytes = {'i', 'c', 'n', 's'};
  appendBigEndian(bytes, static_cast<std::uint32_t>(8 + 8 + png.size()));
  bytes.insert(bytes.end(), type, type + 4);
  appendBigEndian(bytes, static_cast<std::uint32_t>(8 + png.size()));
  bytes.insert(bytes.end(), png.begin(), png.end());
  return bytes;
}

// What the photo effects make of these pixels is file_icon_manager_test.cpp's.
TEST(DecodePixels, PNGAndICNSGiveTheirPixels) {
  const Pixels expected{2, 1, {255, 0, 0, 255, 40, 200, 40, 128}};
  const auto png = twoPixelPNG();
  EXPECT_EQ(decodePixels(Image::fromData(png)), expected);

  // Bundles' .icns files hold PNG images in entries such as ic08 (256x256);
  // the loader takes the entry whatever size the PNG really has.
  EXPECT_EQ(decodePixels(Image::fromData(icnsWith(png, "ic08"))), expected);
  EXPECT_FALSE(decodePixels(Image::fromData({'n', 'o', 't', ' ', 'a', 'n', ' ', 'i', 'm', 'a', 'g', 'e'})));
  EXPECT_FALSE(decodePixels(Image::fromData({0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0})));
}

}  // namespace
}  // namespace Plinth
