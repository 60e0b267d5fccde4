# Cross-build for 64-bit Windows with MinGW-w64 (Debian's g++-mingw-w64-x86-64-posix). The posix
# thread model gives std::thread; everything is linked statically so that a program needs only
# the system's own DLLs. Tests run through wine.
#   cmake -S . -B build-win -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(SERVO_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${SERVO_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${SERVO_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${SERVO_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${SERVO_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows 7 API level (CancelIoEx); UTF-16 entry points for every W call; MinGW's C99 printf
# family (%zu, %lld), which the MSVCRT one lacks.
add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601 UNICODE _UNICODE __USE_MINGW_ANSI_STDIO=1)

# Static C and C++ runtimes and winpthread: no libgcc, libstdc++ or libwinpthread DLL beside the
# program.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

find_program(SERVO_WINE NAMES wine wine64)
if(SERVO_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${SERVO_WINE})
endif()
