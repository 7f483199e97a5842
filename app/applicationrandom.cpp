#include "applicationrandom.h"

#include "randomsequence.h"

RandomSequence &applicationRandom()
{
    static RandomSequence sequence;
    return sequence;
}
