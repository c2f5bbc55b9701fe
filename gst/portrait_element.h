// SPDX-License-Identifier: Apache-2.0
// The element `portrait`: one frame in, one out, with another background behind the person.
#ifndef PEXO_GST_PORTRAIT_ELEMENT_H_
#define PEXO_GST_PORTRAIT_ELEMENT_H_

#include <gst/video/gstvideofilter.h>

G_BEGIN_DECLS

GType pexo_portrait_get_type(void);

G_END_DECLS

#endif  // PEXO_GST_PORTRAIT_ELEMENT_H_
