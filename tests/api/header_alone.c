/* The public header before anything else: it compiles by itself, as C and (by way of header_alone.cpp) as C++. */
#include "pexo/humanbodyseg.h"

typedef int32_t (*Process)(HumanBodySegHandle*, struct QmxImage*, const struct QmxImage*);
Process pexo_header_alone(void);
Process pexo_header_alone(void) {
  return pexoHumanBodySegProcess;
}
