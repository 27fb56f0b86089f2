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

#endif /* VOSK32PD_H */
