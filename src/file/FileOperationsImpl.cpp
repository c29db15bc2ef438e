#include "file/FileOperationsImpl.h"
