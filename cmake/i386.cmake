# Toolchain file for the 32-bit x86 build (build-i386/): the same compiler with -m32.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
# No i386 development packages of GTK here: the glue binds GTK at run time.
set(ZYNE_GTK_RUNTIME_BINDING ON CACHE BOOL "" FORCE)
# Its own absolute path, for tests that configure projects of their own.
set(ZYNE_TOOLCHAIN_FILE "${CMAKE_CURRENT_LIST_FILE}" CACHE FILEPATH "" FORCE)
