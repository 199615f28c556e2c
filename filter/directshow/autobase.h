#pragma once

// Stands in for the generated header of autobase.idl: the platform declares the same types.
#include <oaidl.h>
