// The identifiers that the generated header declares.
#include <initguid.h>

#include "TVDicRd.h"
