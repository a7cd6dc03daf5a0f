# What both widths share. The caller sets `triplet`.
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_RC_COMPILER ${triplet}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Nothing but the system's own libraries is needed at run time, and two builds of the same sources
# give the same file: no time in it, and no base address made from the name of its folder.
set(reproducible -Wl,--no-insert-timestamp)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -s ${reproducible}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT
  "-static -s ${reproducible} -Wl,--disable-auto-image-base")
