#include "file/FilePD.h"
