// PNG diagrams through librsvg on cairo, when the build found them; kept
// apart from diagram.cpp so that only this file sees their headers.
#include <string>

#include "problems/diagram.h"

#ifdef OSTRAVEL_HAVE_RSVG
#include <cairo.h>
#include <librsvg/rsvg.h>
#endif

namespace ostravel {

#ifdef OSTRAVEL_HAVE_RSVG
namespace {

cairo_status_t AppendPng(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

bool DiagramPngAvailable() {
  return true;
}

// A cairo image surface the size the SVG asks for.
std::string SvgToPng(const std::string& svg, std::string& error) {
  GError* gerr = nullptr;
  RsvgHandle* handle =
      rsvg_handle_new_from_data(reinterpret_cast<const guint8*>(svg.data()), svg.size(), &gerr);
  if (!handle) {
    error = gerr ? gerr->message : "the SVG cannot be read";
    if (gerr) g_error_free(gerr);
    return {};
  }
  gdouble w = 0, h = 0;
  if (!rsvg_handle_get_intrinsic_size_in_pixels(handle, &w, &h)) w = h = 400;
  cairo_surface_t* surface =
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(w + 0.5), static_cast<int>(h + 0.5));
  cairo_t* cr = cairo_create(surface);
  const RsvgRectangle viewport{0, 0, w, h};
  std::string png;
  if (!rsvg_handle_render_document(handle, cr, &viewport, &gerr)) {
    error = gerr ? gerr->message : "the SVG cannot be rendered";
    if (gerr) g_error_free(gerr);
  } else if (cairo_surface_write_to_png_stream(surface, AppendPng, &png) != CAIRO_STATUS_SUCCESS) {
    error = "the PNG cannot be encoded";
    png.clear();
  }
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
  g_object_unref(handle);
  return png;
}
#else
bool DiagramPngAvailable() {
  return false;
}

std::string SvgToPng(const std::string&, std::string& error) {
  error = "this build has no PNG output (librsvg)";
  return {};
}
#endif

}  // namespace ostravel
