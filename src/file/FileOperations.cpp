#include "file/FileOperations.h"
