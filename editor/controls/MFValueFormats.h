#pragma once

// The texts of the value displays. Each writes a terminated string of at most
// formatCapacity bytes into text; rounding is that of the standard formatted print.
constexpr int formatCapacity = 256;

// A formatter as a display holds it.
using MFValueFormatter = void (*)(float value, char* text);

// 0..1 shown from -100 % to 100 %, for controls centred at 0.5.
void formatPercentBipolar(float value, char* text);
// 0..1 shown from 0 % to 100 %.
void formatPercent(float value, char* text);
// 0..1 over 126 notes, shown as a note name and octave ("H" is the note a German reader
// calls B).
void formatNote(float value, char* text);
// A frequency in hertz.
void formatHertz(float value, char* text);
// A level in decibels; -160 and below is minus infinity.
void formatDecibel(float value, char* text);
// A time in milliseconds.
void formatMilliseconds(float value, char* text);
