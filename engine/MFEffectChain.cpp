#include "engine/MFEffectChain.h"

MFEffectChain::MFEffectChain(MFSystemInfo& context)
    : xLoop(182, context), loop(176, context), scratchLoop(184, context), reverse(181, context),
      stretch(177, context), vinyl(190, context), tapeStop(180, context), tonalDelay(188, context),
      stutter(183, context), crush(187, context), filter(179, context), phaser(160, context),
      chorus(185, context), delay(189, context),
      reverb(191, context), order{&xLoop,  &loop,     &scratchLoop, &reverse, &stretch,
                                  &vinyl,  &tapeStop, &tonalDelay,  &stutter, &crush,
                                  &filter, &phaser,   &chorus,      &delay,   &reverb} {}

MFEffect* MFEffectChain::stageSix(float switchValue) {
    if (switchValue == 0.0f)
        return &vinyl;
    if (switchValue == 1.0f)
        return &tapeStop;
    return nullptr;
}

void MFEffectChain::run(float* left, float* right, int32_t count, float switchValue) {
    xLoop.process(left, right, count);
    loop.process(left, right, count);
    scratchLoop.process(left, right, count);
    reverse.process(left, right, count);
    stretch.process(left, right, count);
    if (MFEffect* six = stageSix(switchValue))
        six->process(left, right, count);
    tonalDelay.process(left, right, count);
    stutter.process(left, right, count);
    crush.process(left, right, count);
    filter.process(left, right, count);
    phaser.process(left, right, count);
    chorus.process(left, right, count);
    delay.process(left, right, count);
    reverb.process(left, right, count);
}
