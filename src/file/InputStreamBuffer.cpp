#include "file/InputStreamBuffer.h"
