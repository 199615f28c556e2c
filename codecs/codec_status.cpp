#include "codecs/codec_status.h"
