// SPDX-License-Identifier: Apache-2.0
#include "portrait_element.h"

#define PACKAGE "pexohumanbodyseg"

static gboolean RegisterElements(GstPlugin* plugin) {
  return gst_element_register(plugin, "portrait", GST_RANK_NONE, pexo_portrait_get_type());
}

// GStreamer looks for the name in that of the file: libgst<name>.so.
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, portrait, "A person before another background",
                  RegisterElements, PEXO_VERSION, GST_LICENSE_UNKNOWN, PACKAGE, "Unknown package origin")
