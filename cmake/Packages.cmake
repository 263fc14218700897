# What the build stands on, found once for all folders.
foreach(package avcodec avformat avutil swresample swscale)
  string(TOUPPER ${package} upper)
  pkg_check_modules(${upper} REQUIRED IMPORTED_TARGET lib${package})
endforeach()
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(SDL2 REQUIRED IMPORTED_TARGET sdl2)
pkg_check_modules(WOLFSSL REQUIRED IMPORTED_TARGET wolfssl)
pkg_check_modules(X11 REQUIRED IMPORTED_TARGET x11)
