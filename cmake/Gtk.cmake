# GTK 2: linked through pkg-config in the native build. Where its development
# files cannot be had (the i386 build), the glue binds the same functions at run
# time from the host process instead.
option(ZYNE_GTK_RUNTIME_BINDING "Bind GTK at run time instead of linking it" OFF)
if(NOT ZYNE_GTK_RUNTIME_BINDING)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(GTK2 REQUIRED IMPORTED_TARGET gtk+-2.0)
endif()
