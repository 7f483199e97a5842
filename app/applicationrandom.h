#pragma once

class RandomSequence;

// The process-wide random sequence that the window's effects draw from: it
// starts when the program starts and is never reseeded.
RandomSequence &applicationRandom();
