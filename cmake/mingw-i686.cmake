set(TALV_TRIPLE i686-w64-mingw32)
set(CMAKE_SYSTEM_PROCESSOR i686)
# SSE arithmetic rounds as the 64-bit build does; hosts may call with the stack aligned to 4 bytes only.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mincoming-stack-boundary=2")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mincoming-stack-boundary=2")
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
