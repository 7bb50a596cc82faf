// SPDX-License-Identifier: BSD-2-Clause
//
// The image toolkit: picture records of three sample types and the whole-picture and block
// operations from which the indicators are built.
//
// A record is a width, a height and a pointer to w * h samples, row after row without gaps: sample
// (x, y) is data[y * w + x]. Records are values that share their buffer; whoever allocated the
// buffer releases it once. Operations take records by pointer, allocate nothing and keep no state,
// so they are safe on any thread on pictures of its own. Unless stated otherwise, sizes are
// preconditions that are not checked.
//
// The indicators stream over the row operations of rows.h instead. Of these here the product calls
// make..., calloc... and free... of Image, spatialAct and temporalAct; the rest is the toolkit's
// contract: complete, tested, and what the streamed indicators are held against.
#ifndef LUMAGAUGE_TOOLS_DEFINITIONS_H
#define LUMAGAUGE_TOOLS_DEFINITIONS_H

#include <cstdint>

namespace lumagauge {

struct Image {
  std::uint64_t w;
  std::uint64_t h;
  std::uint8_t *data;
};

struct Image32 {
  std::uint64_t w;
  std::uint64_t h;
  std::int32_t *data;
};

struct ImageDouble {
  std::uint64_t w;
  std::uint64_t h;
  double *data;
};

// --- Storage

// - make...: a record over the caller's buffer, which free... must not be given
// - alloc...: a record over a new buffer of undefined samples
// - calloc...: a record over a new buffer of zeros
// - free...: releases the buffer; the record must not be used afterwards
//
// A failed allocation gives a record whose data is null. w * h is not checked for overflow.

Image makeImage(std::uint64_t w, std::uint64_t h, std::uint8_t *data);
Image allocImage(std::uint64_t w, std::uint64_t h);
Image callocImage(std::uint64_t w, std::uint64_t h);
void freeImage(const Image *image);

Image32 makeImage32(std::uint64_t w, std::uint64_t h, std::int32_t *data);
Image32 allocImage32(std::uint64_t w, std::uint64_t h);
Image32 callocImage32(std::uint64_t w, std::uint64_t h);
void freeImage32(const Image32 *image);

ImageDouble makeImageDouble(std::uint64_t w, std::uint64_t h, double *data);
ImageDouble allocImageDouble(std::uint64_t w, std::uint64_t h);
ImageDouble callocImageDouble(std::uint64_t w, std::uint64_t h);
void freeImageDouble(const ImageDouble *image);

// --- Sums

/// Sum of all samples; 0 for an empty picture.
std::uint64_t sumPixels(const Image *src);
/// Sum of all samples, each taken as signed; 0 for an empty picture.
std::int64_t sumPixels32(const Image32 *src);

/// Sum of the `columns` x `lines` samples that lie one after another from `start` (a rectangle of
/// full rows), walked along its rows (sumH) or down its columns (sumV). Both give the same value.
std::uint64_t sumH(const std::uint8_t *start, std::uint64_t columns, std::uint64_t lines);
std::uint64_t sumV(const std::uint8_t *start, std::uint64_t columns, std::uint64_t lines);

/// Adds to every sample (bx, by) of `dest` the sum of the bw x bh samples of `src` in that block,
/// modulo 2^32. `dest` says how many blocks there are; dest->w * bw <= src->w, dest->h * bh <=
/// src->h. Nothing is written when dest->h or bh is 0.
void blockSums(const Image *src, Image32 *dest, std::uint64_t bw, std::uint64_t bh);

/// Integral image (Crow, "Summed-area tables for texture mapping", 1984) of the size of `src`:
/// dest(x, y) is the sum of src over columns 0..x and rows 0..y, modulo 2^32.
void integrate(const Image *src, Image32 *dest);
/// blockSums read from an integral image made by `integrate`: blockSumsInteg adds to `dest`,
/// blockSumsInteg2 overwrites it. bw and bh are at least 1.
void blockSumsInteg(const Image32 *integral, Image32 *dest, std::uint64_t bw, std::uint64_t bh);
void blockSumsInteg2(const Image32 *integral, Image32 *dest, std::uint64_t bw, std::uint64_t bh);

/// Copies all samples of `src` into `dest`, which holds at least as many.
void onlyCopy(const Image *src, Image *dest);

// --- Roberts cross and runs of strong samples

/// Roberts cross differences (Roberts, "Machine perception of three-dimensional solids", 1963):
/// destX(x, y) = s(x-1, y-1) - s(x, y) and destY(x, y) = s(x, y-1) - s(x-1, y), -255 to 255; row 0
/// and column 0 are 0. Asserts that both outputs have the size of `src`.
void roberts(const Image *src, Image32 *destX, Image32 *destY);

/// The Roberts differences at every stepX-th column and stepY-th row only: output (j, r) is that of
/// `roberts` at (j * stepX, r * stepY); output row 0 and column 0 are 0. destX and destY have one
/// size, (w - 1) * stepX < src->w, (h - 1) * stepY < src->h; steps are at least 1.
void robertsSkip(const Image *src, Image32 *destX, Image32 *destY, std::int32_t stepX,
                 std::int32_t stepY);

/// dest[i] = a[i]^2 + b[i]^2 for each of the a->w * a->h samples (a 32-bit count; none when it is
/// not positive), modulo 2^32.
void addSquares(const Image *a, const Image *b, Image32 *dest);
void addSquares32(const Image32 *a, const Image32 *b, Image32 *dest);
/// dest[i] = a[i] * b[i], counted and wrapped as addSquares32 does.
void multiply(const Image32 *a, const Image32 *b, Image32 *dest);

/// Adds to the count of every bw x bh block of `map` the runs of at least `minimum` consecutive
/// samples above `threshold` along a row of the block. A run adds 1 however long it is; runs end at
/// the block's edges. `counts` says how many blocks there are. Returns 0.
std::int32_t countSeqsH(const Image32 *map, Image32 *counts, std::uint64_t bw, std::uint64_t bh,
                        std::int32_t minimum, double threshold);
/// The same down the columns of each block. `runs` holds a counter a covered column, at least
/// counts->w * bw of them: zero on entry and on return. bh is at least 1. Returns 0.
std::int32_t countSeqsV(const Image32 *map, Image32 *counts, Image32 *runs, std::uint64_t bw,
                        std::uint64_t bh, std::int32_t minimum, double threshold);

/// Number of runs of at least `minimum` (>= 1) samples above `threshold` along the rows of the
/// whole picture; a run ends with its row.
std::uint64_t tempCountSeqsH(const Image32 *map, std::int32_t minimum, double threshold);
/// Number of samples in those runs.
std::uint64_t tempCountSeqsH2(const Image32 *map, std::int32_t minimum, double threshold);

// --- Gradients

// All four assert that destX and then destY have the size of `src`.

/// Backward differences: destX = s(x, y) - s(x-1, y), destY = s(x, y) - s(x, y-1), -255 to 255; the
/// whole row 0 and column 0 of both are 0.
void gradient(const Image *src, Image32 *destX, Image32 *destY);
/// The same as absolute values.
void absGradient(const Image *src, Image32 *destX, Image32 *destY);
/// Sobel operator, -1020 to 1020: destX right column minus left, destY row below minus row above,
/// with weights 1 2 1; the outermost rows and columns are 0. sobel2 computes it separably.
void sobel(const Image *src, Image32 *destX, Image32 *destY);
void sobel2(const Image *src, Image32 *destX, Image32 *destY);

// --- Block statistics

/// Sums, square sums and sample standard deviations (divisor bw * bh - 1) of the blocks of `src`.
/// The grid is that of `sums`; the three outputs are indexed alike, by * sums->w + bx. Sums and
/// square sums are added to what the records hold, modulo 2^32, and the deviations come from the
/// totals.
void calculateStdDevs(const Image *src, Image32 *sums, Image32 *squareSums, ImageDouble *deviations,
                      std::uint64_t bw, std::uint64_t bh);

/// Correlates each of the n blocks that lie side by side along the top of `src` with `kernel`,
/// writing only samples at which the kernel fits into its block. Per sample the products are added
/// in the kernel's row-major order, from 0.0. Returns 0, or -1 after a message on standard output
/// when src and dest differ in size or src has fewer rows than the kernel. n * bw <= src->w, bh <=
/// src->h, and the kernel is square with an odd side.
std::int32_t filter(const Image *src, ImageDouble *dest, const ImageDouble *kernel, std::uint32_t n,
                    std::uint32_t bw, std::uint32_t bh);

/// calculateStdDevs for doubles, leaving out the ring along each block's edges that `filter` does
/// not write (half the kernel wide), by position and whatever it holds. Samples are added in raster
/// order. A kernel that is not square gives a message on standard output and leaves the outputs
/// alone.
void calculateStdDevsDouble_ommitZeros(const ImageDouble *src, ImageDouble *sums,
                                       ImageDouble *squareSums, ImageDouble *deviations,
                                       const ImageDouble *kernel, std::uint64_t bw,
                                       std::uint64_t bh);

// --- Activity

/// Square root of the Sobel gradient energy over the interior samples; 0.0 below 3 x 3.
double spatialAct(const Image *src);
/// Square root of the sum of squared differences over the samples of `current`; `previous` holds at
/// least as many.
double temporalAct(const Image *current, const Image *previous);

// --- Sample arithmetic

// Counts of samples are w * h as a signed 32-bit integer; a count that is not positive means none.

/// Sum (modulo 2^32, also returned) and sum of squares of all samples.
std::int32_t sumAndSquareSum(const Image *src, std::int32_t *sum, std::int64_t *squareSum);
/// dest(x, y) = 1 where src(x, y) equals the sample `displacement` further on in storage order,
/// else 0. Every displaced sample lies inside the source.
void compareShifted(const Image *src, Image *dest, std::int32_t displacement);
/// dest[i] = numerator[i] / denominator[i], counted by the numerator; division by zero as IEEE has
/// it.
void divideDouble(const ImageDouble *numerator, const ImageDouble *denominator, ImageDouble *dest);
/// The quotient of two 32-bit pictures in double precision, on the same terms.
void divide(const Image32 *numerator, const Image32 *denominator, ImageDouble *dest);

/// Same size and same samples; one record or one buffer in both places is equal to itself.
bool areEqual(const Image *a, const Image *b);
/// Sample-by-sample conversions; convI32toU8 keeps the low 8 bits. Assert equal numbers of samples.
void convU8toI32(const Image *src, Image32 *dest);
void convI32toU8(const Image32 *src, Image *dest);
/// Square root of every sample. Asserts equal numbers of samples.
void imageSqrt(const ImageDouble *src, ImageDouble *dest);
/// Prints the columns x..x+columns-1 of rows y..y+rows-1 on standard output, a line a row.
void printRange(const Image *src, std::uint64_t x, std::uint64_t y, std::uint64_t columns,
                std::uint64_t rows);
void printRange32(const Image32 *src, std::uint64_t x, std::uint64_t y, std::uint64_t columns,
                  std::uint64_t rows);

} // namespace lumagauge

#endif
