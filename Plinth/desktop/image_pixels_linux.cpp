// Decoding through gdk-pixbuf's loaders.
#include "Plinth/desktop/image_pixels.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <cstddef>

namespace Plinth {
namespace {

constexpr long maximumPixels = 64L * 1024L * 1024L;

// A file may claim any size: refuse one too large before the loader makes
// room for it, by asking for a 1x1 image and remembering why.
void onSizePrepared(GdkPixbufLoader* loader, gint width, gint height, gpointer tooLarge) {
  if (static_cast<long>(width) * static_cast<long>(height) > maximumPixels) {
    *static_cast<bool*>(tooLarge) = true;
    gdk_pixbuf_loader_set_size(loader, 1, 1);
  }
}

}  // namespace

std::optional<Pixels> decodePixels(const Image& image) {
  const std::vector<std::uint8_t>& bytes = image.data();
  if (bytes.empty()) return std::nullopt;
  GdkPixbufLoader* loader = gdk_pixbuf_loader_new();
  bool tooLarge = false;
  g_signal_connect(loader, "size-prepared", G_CALLBACK(onSizePrepared), &tooLarge);
  bool ok = gdk_pixbuf_loader_write(loader, bytes.data(), bytes.size(), nullptr) != FALSE;
  ok = gdk_pixbuf_loader_close(loader, nullptr) != FALSE && ok;
  GdkPixbuf* decoded = ok && !tooLarge ? gdk_pixbuf_loader_get_pixbuf(loader) : nullptr;
  std::optional<Pixels> result;
  if (decoded != nullptr && gdk_pixbuf_get_colorspace(decoded) == GDK_COLORSPACE_RGB &&
      gdk_pixbuf_get_bits_per_sample(decoded) == 8) {
    const int width = gdk_pixbuf_get_width(decoded);
    const int height = gdk_pixbuf_get_height(decoded);
    const int channels = gdk_pixbuf_get_n_channels(decoded);
    const int stride = gdk_pixbuf_get_rowstride(decoded);
    const bool alpha = gdk_pixbuf_get_has_alpha(decoded) != FALSE;
    if (width > 0 && height > 0 && static_cast<long>(width) * height <= maximumPixels &&
        (channels == 3 || channels == 4)) {
      const guint8* source = gdk_pixbuf_read_pixels(decoded);
      Pixels pixels{width, height, {}};
      pixels.rgba.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4U);
      for (int y = 0; y < height; ++y) {
        const guint8* row = source + static_cast<std::ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x) {
          const guint8* pixel = row + static_cast<std::ptrdiff_t>(x) * channels;
          pixels.rgba.insert(pixels.rgba.end(), {pixel[0], pixel[1], pixel[2], alpha ? pixel[3] : guint8{255}});
        }
      }
      result = std::move(pixels);
    }
  }
  g_object_unref(loader);
  return result;
}

}  // namespace Plinth
