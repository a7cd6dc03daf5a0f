# 32-bit x86 with Debian's g++-i686-linux-gnu. The programs need nothing at run time.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
# Without these, floating point would be the x87's, rounding otherwise than everywhere else.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
