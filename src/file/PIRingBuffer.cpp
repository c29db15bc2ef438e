#include "file/PIRingBuffer.h"
