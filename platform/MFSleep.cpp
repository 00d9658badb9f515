#include "platform/MFSleep.h"

#include <time.h>

void mfSleepOneMillisecond() {
    timespec ts{0, 1000000};
    while (nanosleep(&ts, &ts) != 0) {
    }
}
