// Byte-count texts from GLib, as the desktop's file manager shows them:
// decimal multiples ("1.5 MB") for files, binary ones ("1.4 MiB") for memory.
#include "Keel/services/disk_utilities.h"

#include <glib.h>

namespace Keel::detail {

std::string byteCountText(std::int64_t bytes, ByteCountStyle style) {
  gchar* text = g_format_size_full(static_cast<guint64>(bytes),
                                   style == ByteCountStyle::memory ? G_FORMAT_SIZE_IEC_UNITS : G_FORMAT_SIZE_DEFAULT);
  std::string result(text);
  g_free(text);
  return result;
}

}  // namespace Keel::detail
