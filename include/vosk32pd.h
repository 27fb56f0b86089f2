/*
 * vosk32pd.h - the public QV_ interface of the VOSK32PD imaging toolkit.
 *
 * Applications include this one header. Every QV_ function runs inside the
 * library's entry frame: it empties the error stack (while the clear-on-entry
 * flag is 1), does its work and returns the number of error records left on
 * the stack, so 0 means success. Functions that take an image handle return
 * 0 at once, doing nothing, when the handle is not valid: test handles with
 * QV_image_is_valid. Details of a failure are read with QV_error_get.
 *
 * Threads. The library starts no threads of its own. Rules for callers:
 *  1. Each thread has its own error stack: the count a call returns and the
 *     records QV_error_get reads are those of the calling thread only, so a
 *     failure on one thread never shows up on another.
 *  2. Loads and saves of different files (or buffers) may run on several
 *     threads at once; each works on its own stream copy.
 *  3. One image may be used by one thread at a time: serialise calls that
 *     take the same QUORIN.
 *  4. Process-wide settings (load size, rectangle, reduction, pixel limit,
 *     control blocks, clear-on-entry flag, registered I/O, memory and tag
 *     callbacks, extension modules) are shared by all threads: set them
 *     before starting concurrent work, not while another thread loads or
 *     saves.
 *
 * Compiles as C99 and as C++.
 */
#ifndef VOSK32PD_H
#define VOSK32PD_H

#include "vosk32pd/base.h"
#include "vosk32pd/support.h"
#include "vosk32pd/image.h"
#include "vosk32pd/io.h"
#include "vosk32pd/load.h"
#include "vosk32pd/save.h"
#include "vosk32pd/ip.h"
#include "vosk32pd/dither.h"

#endif /* VOSK32PD_H */
