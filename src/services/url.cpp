// URL encoding: a blank, and nothing else.

#include "korvo_bt.h"

void omra_url_encode(char *destination, const char *source) {
    for (; *source != '\0'; ++source) {
        if (*source == ' ') {
            *destination++ = '%';
            *destination++ = '2';
            *destination++ = '0';
        } else {
            *destination++ = *source;
        }
    }
    *destination = '\0';
}
