/* SPDX-License-Identifier: Apache-2.0 */
/* Portrait effects for camera frames: finds the person in an NV21 frame with a neural network and renders an effect
 * into the frame, in place.
 *
 *   #include <pexo/humanbodyseg.h>
 *   #include <qmx/qmx_image.h>
 *
 *   HumanBodySegHandle* handle = pexoHumanBodySegCreate();
 *   const int32_t effect = HUMANBODYSEG_EFFECT_BLUR;
 *   pexoHumanBodySegSetParam(handle, PARAM_EFFECT_MODE, &effect);
 *   pexoHumanBodySegSetParam(handle, PARAM_MODEL_PATH, "models/MoviePortraitBig.dlc");
 *   if (pexoHumanBodySegInit(handle) == HUMANBODYSEG_OK) {
 *     QmxImage frame;
 *     while (next_camera_frame(&frame)) pexoHumanBodySegProcess(handle, &frame, NULL);
 *   }
 *   pexoHumanBodySegUninit(handle);
 *   pexoHumanBodySegDestroy(handle);
 *
 * Every function may be called from any thread, and none throws. One lock for the whole process serialises all of them
 * but pexoHumanBodySegGetVersion and pexoHumanBodyGetExecuteTime, so frames of different handles are processed one at a
 * time. pexoHumanBodySegProcess waits for a prediction, and whatever else is called meanwhile waits with it, even
 * pexoHumanBodySegSetParam.
 */
#ifndef PEXO_HUMANBODYSEG_H_
#define PEXO_HUMANBODYSEG_H_

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define HUMANBODYSEG_API __attribute__((visibility("default")))
#else
#define HUMANBODYSEG_API
#endif

/* The image library's descriptor: <qmx/qmx_image.h>. */
struct QmxImage;

/* An opaque handle, made by pexoHumanBodySegCreate and owned by the caller. */
typedef struct HumanBodySegHandle HumanBodySegHandle;

/* What Init, Process, SetParam and SetLogLevel return. Any other non-zero value of Init and Process is the network's
 * own code. */
enum {
  HUMANBODYSEG_OK = 0,
  HUMANBODYSEG_ERR_NULL = 2,        /* null handle or image, or a handle without a network */
  HUMANBODYSEG_ERR_PARAM = 3,       /* a parameter or the geometry of a frame is not acceptable */
  HUMANBODYSEG_ERR_UNSUPPORTED = 4, /* unknown parameter key or effect mode */
  HUMANBODYSEG_ERR_FAILED = 5       /* out of memory, or an exception inside */
};

/* Numbers that callers have to know. */
enum {
  HUMANBODYSEG_MODEL_PATH_MAX = 127,      /* characters of a model path, without the terminator */
  HUMANBODYSEG_COLOUR_WIDTH_MULTIPLE = 8, /* effect 1 needs frames whose width is a multiple of it */
  HUMANBODYSEG_COLOUR_CALLS_LATE = 1,     /* effect 1: calls of Process until a frame comes back */
  HUMANBODYSEG_BLUR_CALLS_LATE = 2,       /* effect 2 */
  HUMANBODYSEG_MASK_CALLS_LATE = 0        /* effect 3: the frame comes back in its own call */
};

/* Keys of pexoHumanBodySegSetParam, with the type that the value points at and the functions that read it. */
enum {
  /* uint32_t, Process. 0: soft mask (default), 1: hard mask, others: empty mask. A one-channel model whose output has
   * the size of its input, as the small model's has, gives the same soft mask in every mode. */
  PARAM_LAYOUT_MODE = 258,

  /* char[], Init. At most HUMANBODYSEG_MODEL_PATH_MAX characters; empty by default, see pexoHumanBodySegInit. */
  PARAM_MODEL_PATH = 259,

  /* uint32_t, Process. 0 (default), 90, 180 or 270 degrees. The frame is turned clockwise before the model sees it, and
   * the mask is turned back: choose what makes the person stand upright. 180 is a flip from top to bottom, not a half
   * turn. 90 and 270 need a model whose input is square; with any other, nobody is found, and no status tells of it. Do
   * not set other values: they are accepted, but the frame is not turned (45 is as 0, and of those near 2^32 some turn
   * the mask alone). */
  PARAM_ROTATION = 260,

  /* int32_t, Init and Process. 0 for the front camera (default), positive for the back camera; Init refuses negative
   * values. Effect 1 alone takes its limits from it: the share of the frame below which nobody is there (front 0.12,
   * back 0.05), and the share above which somebody obviously is (front 0.24, back 0.1). */
  PARAM_CAMERA_DIRECTION = 261,

  /* int32_t, Init (the network) and Process (the rendering): one of the effect modes below. There is no default, and a
   * new effect needs a new Init. */
  PARAM_EFFECT_MODE = 262
};

/* Effect modes. Effect 1 also watches whether anybody is there at all. The seventh frame in a row without a person
 * turns grey as a whole, and so do those that follow; colour returns at once with somebody obvious, or with the seventh
 * frame in a row that has a person. All handles of the process share this state, and nothing resets it. */
enum {
  HUMANBODYSEG_EFFECT_COLOUR = 1, /* the person keeps colour, the background turns grey */
  HUMANBODYSEG_EFFECT_BLUR = 2,   /* the background is blurred */
  HUMANBODYSEG_EFFECT_MASK = 3    /* the frame shows the mask as a grey picture */
};

/* The library's version; the record and its strings are static. */
typedef struct HumanBodySegVersion {
  int32_t major;
  int32_t minor;
  int32_t build;
  int32_t reserved;
  const char* version_string; /* product, numbers, build date and time */
  const char* build_time;     /* the tail of version_string: "Mmm dd yyyy/hh:mm:ss" */
} HumanBodySegVersion;

/* A new handle with every parameter at its default, or NULL when memory is short. The caller frees it with
 * pexoHumanBodySegDestroy. The effect mode has no default: set it before pexoHumanBodySegInit. */
HUMANBODYSEG_API HumanBodySegHandle* pexoHumanBodySegCreate(void);

/* Builds the network for the handle's effect mode and loads the model. The effect mode must have been set; the other
 * parameters have defaults. With effects 1 and 2 an empty model path becomes
 * "/vendor/camera3rd/qmx/MoviePortraitBig.dlc"; effect 3 has no default path. A path that contains "MoviePortraitSmall"
 * marks the one-channel small model. Takes between a few and a few hundred milliseconds.
 *
 * Call pexoHumanBodySegUninit before another Init, even after one that failed: effects 1 and 2 leave a network with the
 * handle then, and a second Init leaks the one before.
 *
 * HUMANBODYSEG_OK
 * HUMANBODYSEG_ERR_NULL: null handle, or the model is missing or cannot be used; the log says why
 * HUMANBODYSEG_ERR_PARAM: negative camera direction
 * HUMANBODYSEG_ERR_UNSUPPORTED: effect mode not 1, 2 or 3
 * HUMANBODYSEG_ERR_FAILED: out of memory, or an exception inside */
HUMANBODYSEG_API int32_t pexoHumanBodySegInit(HumanBodySegHandle* handle);

/* Processes one NV21 frame and renders the effect into it. Of `image` the library reads `width` and `height` (both
 * even, from 2 up), `plane[0]` (luma, width x height bytes) and `plane[1]` (V, U pairs, half as many bytes). It does
 * not look at `format` and `stride`: rows are tightly packed. The caller owns the image, and the library keeps no
 * pointer to it. `mask` may be NULL; otherwise only its `width` and `height` are read, and they must be those of the
 * image.
 *
 * Effect 3: the frame becomes the mask of its own pixels. The call waits for the prediction of this frame.
 * Effect 1: the frame is replaced by the frame of the call before, with its effect; the mask is decoded and turned back
 * by the layout mode and the rotation of this call. The call waits for the prediction of the frame before. The first
 * call after Init keeps its frame, which counts as one without a person and turns grey only while nobody counts as
 * present.
 * Effect 2: the frame is replaced by the frame of two calls before, with its background blurred, or sharp when less
 * than 5 % of its mask is person. The call waits for that frame's prediction and blur. The first two calls after Init
 * leave their frames untouched.
 *
 * Effects 1 and 2: a frame that comes back into one of another size is scaled to it. The last frames come back only
 * when further ones are handed in; Uninit drops them. When the network fails on a frame, that is logged, the whole
 * picture counts as person, and the frame comes back as it was. So does every frame after an Init that failed on the
 * model: Process then answers HUMANBODYSEG_OK and hands frames on. ("As it was" has an exception with effect 1: a
 * chroma byte of 0 comes back as 1.)
 *
 * HUMANBODYSEG_OK
 * HUMANBODYSEG_ERR_NULL: null handle or image, no network, or with effect 3 the network failed on the frame. The frame
 *   is untouched.
 * HUMANBODYSEG_ERR_PARAM: mask of another size, odd width or height, or a missing plane. The frame is untouched. Also
 *   with effect 1, unless the whole frame turns grey: a width that is not a multiple of
 *   HUMANBODYSEG_COLOUR_WIDTH_MULTIPLE; the frame of the call before is then in place, without the effect.
 * HUMANBODYSEG_ERR_UNSUPPORTED: effect mode not 1, 2 or 3. The frame is untouched.
 * HUMANBODYSEG_ERR_FAILED: out of memory, a size that no image can have, or an exception inside. The frame is untouched
 *   and will not come back later. */
HUMANBODYSEG_API int32_t pexoHumanBodySegProcess(HumanBodySegHandle* handle, struct QmxImage* image,
                                                 const struct QmxImage* mask);

/* Sets a parameter. `value` points at the value, which is copied. On failure nothing changes.
 *
 * HUMANBODYSEG_OK
 * HUMANBODYSEG_ERR_PARAM: null handle (not HUMANBODYSEG_ERR_NULL here), null value, or a model path that is too long
 * HUMANBODYSEG_ERR_UNSUPPORTED: unknown key */
HUMANBODYSEG_API int32_t pexoHumanBodySegSetParam(HumanBodySegHandle* handle, int32_t key, const void* value);

/* Sets the log level of the whole process: lines are printed while it is at least 1 (the default is 1). The handle is
 * not used, but it must not be null; so pexoHumanBodySegCreate has printed by the time that a program calls this.
 *
 * All that the library prints goes, with the tag "LOG_HUMANBODYSEG", through a function of libpexolog.so:
 *   int __p_android_log_print(int priority, const char* tag, const char* format, ...);
 * A program that defines a C function of this name and exports it (-Wl,--export-dynamic-symbol=__p_android_log_print)
 * receives every line instead, from the first one on, and prints what it likes or nothing. It is called by any thread,
 * and must not call the library. On a computer, libpexolog.so prints to standard error, or not at all with PEXO_LOG=off
 * in the environment.
 *
 * HUMANBODYSEG_OK
 * HUMANBODYSEG_ERR_NULL: null handle */
HUMANBODYSEG_API int32_t pexoHumanBodySegSetLogLevel(HumanBodySegHandle* handle, int32_t level);

/* The library's version record; never NULL, always the same address. Takes no lock. */
HUMANBODYSEG_API const HumanBodySegVersion* pexoHumanBodySegGetVersion(void);

/* Milliseconds that the network took for its most recent complete frame, from pre-processing to post-processing and
 * with effect 2 also the blur; a frame that effect 2 leaves sharp is not timed. 0 without a handle or a network, and
 * before the first complete frame. Takes no lock: do not call it while another thread runs Init, Uninit or Destroy on
 * the handle. */
HUMANBODYSEG_API float pexoHumanBodyGetExecuteTime(HumanBodySegHandle* handle);

/* Waits for what the workers are doing, stops them and releases the network; frames that have not come back are
 * dropped. The handle keeps its parameters and may be initialised again. A null handle, or one without a network, is
 * logged and ignored. */
HUMANBODYSEG_API void pexoHumanBodySegUninit(HumanBodySegHandle* handle);

/* Frees the handle and nothing else: call pexoHumanBodySegUninit first, or the network leaks. NULL is logged and
 * ignored. */
HUMANBODYSEG_API void pexoHumanBodySegDestroy(HumanBodySegHandle* handle);

#ifdef __cplusplus
}
#endif

#endif /* PEXO_HUMANBODYSEG_H_ */
