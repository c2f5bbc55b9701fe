/* Portrait effects for camera frames: finds the person in an NV21 frame with a neural network and renders an effect
 * into the frame, in place.
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
 * Every function may be called from any thread and none throws. One process-wide lock serialises them, except
 * pexoHumanBodySegGetVersion and pexoHumanBodyGetExecuteTime, so frames of different handles are treated one at a time.
 */
#ifndef PEXO_HUMANBODYSEG_H_
#define PEXO_HUMANBODYSEG_H_

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
  HUMANBODYSEG_ERR_NULL = 2,        /* null handle or image, or a handle that was not initialised */
  HUMANBODYSEG_ERR_PARAM = 3,       /* a parameter or the geometry of a frame is not acceptable */
  HUMANBODYSEG_ERR_UNSUPPORTED = 4, /* unknown parameter key or effect mode */
  HUMANBODYSEG_ERR_FAILED = 5       /* out of memory, or an exception inside */
};

/* Keys of pexoHumanBodySegSetParam, with the type that the value points at and when the parameter is read.
 *
 * The rotation turns the frame clockwise before the model sees it, and the mask back: set what makes the person stand
 * upright. 180 is a flip from top to bottom, not a half turn.
 * The camera direction decides how much of the frame a person must fill: with 0 (front) nobody is there below 0.12 of
 * it and somebody obviously above 0.24; with a positive value (back) the limits are 0.05 and 0.1. */
enum {
  PARAM_LAYOUT_MODE = 258,      /* uint32_t, per frame: 0 soft mask (default), 1 hard mask; others: empty mask */
  PARAM_MODEL_PATH = 259,       /* char[], at most 127 characters, by Init; see pexoHumanBodySegInit */
  PARAM_ROTATION = 260,         /* uint32_t, per frame: 0 (default), 90, 180 or 270 degrees; others: 0 */
  PARAM_CAMERA_DIRECTION = 261, /* int32_t, by Init and per frame: 0 (default) or positive */
  PARAM_EFFECT_MODE = 262       /* int32_t, by Init (the network) and per frame (the rendering): one of
                                                HUMANBODYSEG_EFFECT_...; no default. A new effect needs a new Init */
};

/* Effect modes. Colour retention watches whether anybody is there at all: once nobody has been for seven frames the
 * whole frame turns grey, and colour returns at once with an obvious person or after seven frames with somebody. All
 * handles share this state and nothing resets it. */
enum {
  HUMANBODYSEG_EFFECT_COLOUR = 1, /* the person keeps colour, the background turns grey; one call late */
  HUMANBODYSEG_EFFECT_BLUR = 2,   /* the background is blurred; two calls late */
  HUMANBODYSEG_EFFECT_MASK = 3    /* the frame shows the mask as a grey picture; in the same call */
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

/* A new handle with every parameter at its default, or NULL when memory is short. The caller ends it with
 * pexoHumanBodySegDestroy. The effect mode has no default: set it before pexoHumanBodySegInit. */
HUMANBODYSEG_API HumanBodySegHandle* pexoHumanBodySegCreate(void);

/* Builds the network for the handle's effect mode and loads the model. Needs the effect mode; the other parameters have
 * defaults. With effect 1 or 2 an empty model path is replaced by "/vendor/camera3rd/qmx/MoviePortraitBig.dlc". A path
 * that contains "MoviePortraitSmall" marks the one-channel small model. Takes a few milliseconds to a few hundred.
 * Call pexoHumanBodySegUninit before another Init, also after one that failed: with effects 1 and 2 a network stays
 * attached then, and a second Init leaks the one before.
 * HUMANBODYSEG_OK; HUMANBODYSEG_ERR_NULL: null handle; HUMANBODYSEG_ERR_PARAM: negative camera direction;
 * HUMANBODYSEG_ERR_UNSUPPORTED: effect mode not 1, 2 or 3; HUMANBODYSEG_ERR_FAILED: out of memory;
 * 2 also when the model is missing or cannot be built (the log says which). */
HUMANBODYSEG_API int32_t pexoHumanBodySegInit(HumanBodySegHandle* handle);

/* Treats one frame. `image` is an NV21 frame of even width and height from 2x2 up with tightly packed rows; its format
 * and strides are not looked at. The caller owns it, its pixels change in place, and the library keeps no pointer to
 * them after the call. `mask` may be NULL; otherwise its size must be that of the image, and it is neither read nor
 * written. Frames of one handle come from one thread at a time.
 *
 * Effect 3: the frame becomes the mask of its own pixels.
 * Effect 1: the frame is replaced by the frame of the call before, with its effect; the mask is turned and decoded by
 * the rotation and layout mode of this call. The first call after Init keeps the frame.
 * Effect 2: the frame is replaced by the frame of two calls before. The first two calls leave it untouched.
 * A frame that comes back into one of another size is scaled to it. The last one or two frames come back only when
 * further frames are handed in; Uninit drops them.
 *
 * HUMANBODYSEG_OK; HUMANBODYSEG_ERR_NULL: null handle or image, or not initialised; HUMANBODYSEG_ERR_PARAM: mask of
 * another size, odd width or height, no planes, or, with effect 1, a width that is no multiple of 8 when the effect
 * applies (the frame of the call before is then in place, without the effect); HUMANBODYSEG_ERR_UNSUPPORTED: effect
 * mode not 1, 2 or 3; HUMANBODYSEG_ERR_FAILED: out of memory or an exception; 2 also when the network failed on the
 * frame (effect 3; with effects 1 and 2 that is only logged). */
HUMANBODYSEG_API int32_t pexoHumanBodySegProcess(HumanBodySegHandle* handle, struct QmxImage* image,
                                                 const struct QmxImage* mask);

/* Sets a parameter; `value` points at the value and is copied.
 * HUMANBODYSEG_OK; HUMANBODYSEG_ERR_PARAM: null handle (not ERR_NULL here) or null value, or a model path longer than
 * 127 characters; HUMANBODYSEG_ERR_UNSUPPORTED: unknown key. On failure nothing changes. */
HUMANBODYSEG_API int32_t pexoHumanBodySegSetParam(HumanBodySegHandle* handle, int32_t key, const void* value);

/* Sets the process-wide log level: lines are printed when it is at least 1 (the default is 1). The handle only has to
 * be valid. HUMANBODYSEG_OK; HUMANBODYSEG_ERR_NULL: null handle. */
HUMANBODYSEG_API int32_t pexoHumanBodySegSetLogLevel(HumanBodySegHandle* handle, int32_t level);

/* The library's version record; never NULL, always the same address. Takes no lock. */
HUMANBODYSEG_API const HumanBodySegVersion* pexoHumanBodySegGetVersion(void);

/* Milliseconds that the network took for its most recent complete frame, pre- and post-processing included; 0 without a
 * handle or a network. Takes no lock: not to be called while another thread runs Init, Uninit or Destroy on the
 * handle. */
HUMANBODYSEG_API float pexoHumanBodyGetExecuteTime(HumanBodySegHandle* handle);

/* Stops the workers, waits for the steps they are in, and releases the network; frames in flight are dropped. The
 * handle keeps its parameters and may be initialised again. A null handle or one without network is logged and ignored.
 */
HUMANBODYSEG_API void pexoHumanBodySegUninit(HumanBodySegHandle* handle);

/* Frees the handle, and only the handle: call pexoHumanBodySegUninit first, or the network leaks. NULL is logged and
 * ignored. */
HUMANBODYSEG_API void pexoHumanBodySegDestroy(HumanBodySegHandle* handle);

#ifdef __cplusplus
}
#endif

#endif /* PEXO_HUMANBODYSEG_H_ */
