/*
 * vosk32pd/load.h - (declarations added with the subsystem)
 */
#ifndef VOSK32PD_LOAD_H
#define VOSK32PD_LOAD_H

#include "base.h"

QV_EXTERN_C_BEGIN

QV_EXTERN_C_END

#endif /* VOSK32PD_LOAD_H */
