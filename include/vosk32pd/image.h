/*
 * vosk32pd/image.h - image handles: validity, creation, deletion, DIB access.
 *
 * (Further image and pixel-access declarations are added with their
 * implementation.)
 */
#ifndef VOSK32PD_IMAGE_H
#define VOSK32PD_IMAGE_H

#include "base.h"

QV_EXTERN_C_BEGIN

/* 1 when `handle` names a live image record, else 0. Does not clear the
 * error stack and pushes nothing. Values -255..255, deleted and foreign
 * handles are refused without touching their memory. */
QV_API int32_t QV_image_is_valid(QUORIN handle);

QV_EXTERN_C_END

#endif /* VOSK32PD_IMAGE_H */
