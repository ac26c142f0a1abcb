// Uses of the diagnostic log: the compiler holds a message's arguments against its format.

#include "korvo_bt.h"

void use([[maybe_unused]] const char *text) {
#if USE == 0
    err_log(1, ERR_MODULE_MAIN, "%s %d\n", text, 7);
#elif USE == 1 // format
    err_log(1, ERR_MODULE_MAIN, "%s\n", 7);
#elif USE == 2 // format
    err_log(1, ERR_MODULE_MAIN, "%d\n", text);
#elif USE == 3 // format
    err_log(1, ERR_MODULE_MAIN, "%s\n");
#endif
}
