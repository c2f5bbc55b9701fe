// SPDX-License-Identifier: Apache-2.0
// One row of a full-size pass each, in 16-bit arithmetic. The same bytes on every processor of an architecture: all
// operations are element by element, in integers.
//
// Rows lie in memory that is padded to kRowPadding elements (plane.h); kernels read and write whole vectors.
// Number formats: masks are 0..255; weights and fractions are Q15 (0..32767); pixel values between bytes are Q7
// (0..32640); coefficients of the guided filter are Q11 (-16..16).
#ifndef PEXO_COMPOSITOR_ROW_KERNELS_H_
#define PEXO_COMPOSITOR_ROW_KERNELS_H_

#include <cstdint>

namespace pexo::compositor {

// A row between two rows of an enlarged plane: from + (to - from) * fraction.
struct LerpRow {
  const int16_t* from;
  const int16_t* to;
  int16_t fraction;
};

// Where the pixels of a stretched row come from: pixel x lies between source[index[x]] and the one after it. Eight
// pixels share a base, and `shuffle` holds the byte positions of each one's index beside it.
struct StretchTables {
  int width;
  const int32_t* index;
  const int32_t* base;      // one for eight pixels
  const uint8_t* shuffle;   // 16 for eight pixels
  const int16_t* fraction;  // Q15
};

// Stretches a row horizontally; `source` is readable from 0 to kRowPadding past its last pixel, and the one after the
// last has its value.
void StretchRow(const StretchTables& tables, const int16_t* source, int16_t* out);

// The chroma's share of the refined mask, at chroma size: aU*U + aV*V + b, Q11.
void ChromaTermRow(int width, const LerpRow& a_u, const LerpRow& a_v, const LerpRow& b, const uint8_t* u,
                   const uint8_t* v, int16_t* out);

// Doubles a row bilinearly; reads one element on either side of the source.
void DoubleRow(int source_width, const int16_t* source, int16_t* out);

// The refined mask: levels(aY*Y + t), where t lies three parts in `near_term` and one part in `far_term`.
void RefineRow(int width, const LerpRow& a_y, const int16_t* near_term, const int16_t* far_term, const uint8_t* luma,
               uint8_t* mask);

// Q7 to bytes, rounded.
void LerpToBytes(int width, const LerpRow& row, uint8_t* out);

// Draws `refined` towards the mask of the frame before, which `memory` holds, by `weight`, less where the two differ
// much; the result replaces it. Rounds towards `refined`.
void CalmRow(int width, const LerpRow& weight, const uint8_t* refined, uint8_t* memory);

// The mask of a chroma row from those of its two luma rows: the mean of the 2x2, but 255 where one of them is 255, so
// that a person's pixel keeps its chroma.
void ChromaMaskRow(int chroma_width, const uint8_t* mask0, const uint8_t* mask1, uint8_t* out);

// out = pixels where the mask is 255, background where it is 0. In-place use is allowed.
void BlendLerpRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& background, uint8_t* out);
void BlendRow(int width, const uint8_t* pixels, const uint8_t* mask, const uint8_t* background, uint8_t* out);

// The person's own colour without the share of the background that shone through:
// Fb + q*(pixel - q*Fb - (1-q)*Bb), and the pixel itself where the mask is 255.
void ForegroundRow(int width, const uint8_t* pixels, const uint8_t* mask, const LerpRow& foreground,
                   const LerpRow& background, uint8_t* out);

// What a pixel counts for in a weighted mean.
enum class Weighting {
  kSurelyBackground,  // 1 - 2q, at least 0
  kBackground,        // 1 - q
  kForeground         // q
};

// Column sums of luma rows and of the chroma rows between them. A whole weight counts kWholeWeight, and no pixel counts
// less than 1/511 of it; a level at whole weight counts kWeightedLevel, chroma levels from the middle. Sixteen luma
// rows fit.
inline constexpr float kWholeWeight = 4088;
inline constexpr float kWeightedLevel = kWholeWeight / 256;
struct ColumnSums {
  uint16_t* weight;
  uint16_t* luma;
  int16_t* u;  // half as many
  int16_t* v;
};
void AddRowPair(int width, Weighting weighting, const uint8_t* const mask[2], const uint8_t* const luma[2],
                const uint8_t* u, const uint8_t* v, const ColumnSums& sums);

// sums[i] += scale * the i-th group of `group` columns (a power of two). `scratch` holds the padded width; `columns` is
// set to 0.
void ReduceColumns(int width, int group, float scale, uint16_t* columns, int32_t* scratch, float* sums);
void ReduceColumns(int width, int group, float scale, int16_t* columns, int32_t* scratch, float* sums);

}  // namespace pexo::compositor

#endif  // PEXO_COMPOSITOR_ROW_KERNELS_H_
