/*
 * qv_reduce.h - the colour-reduction commands of qv.
 *
 *   qv reduce IN OUT --octree N [--search] [--verbose]
 *       an optimised palette of N colours (taken as 8..256; 16 or fewer: 4-bit
 *       image) mapped with error diffusion; --search tries five shifted
 *       colours a pixel for palettes of 16 or fewer
 *   qv dither IN OUT METHOD [--colors 16] [--threshold T] [--mode M]
 *                           [--weights R,G,B] [--verbose]
 *       fs         error diffusion: 1 bit at threshold T (default 128), or
 *                  16 colours with --colors 16
 *       bayer      ordered dither: 1 bit, or 16 colours with --colors 16
 *       halftone   clustered-dot halftone, 1 bit
 *       threshold  one threshold T (default 128) on the gray level (mode 0),
 *                  the channel mean (1) or the weighted mean (2, --weights)
 *
 * Both return qv's exit status: 0, 1 after a failure told in words, 2 for
 * a usage error.
 */
#pragma once

namespace qvtool {

int cmd_reduce(int argc, char **argv, const char *usage);
int cmd_dither(int argc, char **argv, const char *usage);

}  // namespace qvtool
