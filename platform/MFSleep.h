#pragma once

// Yields the calling thread for about one millisecond; used by the handshakes
// between the editor thread and the audio thread.
void mfSleepOneMillisecond();
