/*
 * vosk32pd/io.h - (declarations added with the subsystem)
 */
#ifndef VOSK32PD_IO_H
#define VOSK32PD_IO_H

#include "base.h"

QV_EXTERN_C_BEGIN

QV_EXTERN_C_END

#endif /* VOSK32PD_IO_H */
