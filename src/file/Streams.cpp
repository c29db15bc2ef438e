#include "file/InputStream.h"
#include "file/OutputStream.h"
#include "file/StreamController.h"
