/* The public headers compile as strict C99 and the library links from C. */
#include "vosk32pd.h"
#include "vosk32pd_bridge.h"

int main(void) {
    char module[16];
    int32_t code = 0;
    QUORIN none = 0;
    if (QV_image_is_valid(none) != 0) return 1;
    if (QV_error_set("C\\MAIN.C", 1, QVE_FAILED, 0, 0) != QVE_FAILED) return 2;
    QV_error_get(0, module, (int32_t)sizeof module, 0, &code, 0, 0);
    if (code != QVE_FAILED) return 3;
    QV_error_clear();
    return QV_error_check() == 0 ? 0 : 4;
}
