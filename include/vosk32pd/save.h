/*
 * vosk32pd/save.h - the save pipeline: files, descriptors, memory.
 *
 * (Declarations added with the save pipeline.)
 */
#ifndef VOSK32PD_SAVE_H
#define VOSK32PD_SAVE_H

#include "base.h"

QV_EXTERN_C_BEGIN

QV_EXTERN_C_END

#endif /* VOSK32PD_SAVE_H */
