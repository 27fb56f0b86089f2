/*
 * hello_vosk.c - the smallest program that uses the library: prints its
 * version, then pushes an application error on purpose and reads it back
 * from the error stack, as an application reads the library's own errors.
 */
#include <stdio.h>

#include "vosk32pd.h"

int main(void) {
    char version[32];
    char module[16];
    int32_t line, code, ival, lval;

    if (QV_version_get(version, (int32_t)sizeof version) != 0) return 1;
    printf("VOSK32PD %s\n", version);

    printf("pushing error %d on purpose, to show how errors are read back:\n",
           (int)QVE_BAD_ARGUMENT);
    QV_error_set("APP\\HELLO.C", 42, QVE_BAD_ARGUMENT, 7, 8);
    printf("errors on the stack: %d\n", (int)QV_error_check());
    QV_error_get(0, module, (int32_t)sizeof module, &line, &code, &ival, &lval);
    printf("error 0: %s line %d code %d iVal %d lVal %d\n", module, (int)line, (int)code, (int)ival,
           (int)lval);
    return code == QVE_BAD_ARGUMENT ? 0 : 1;
}
