# PadFile.cmake - copies IN to OUT and appends bytes until OUT is SIZE bytes long.
#
#   cmake -DIN=lib.so -DOUT=padded.so -DSIZE=16777216 -P PadFile.cmake
#
# The dynamic loader maps an ELF library through its program headers and never reads
# past the image, so the tail changes nothing once loaded; it only makes the file big.
# The tail is printable text, not zeros: a run of zeros could be stored as a hole, which
# cp would then copy for free.
foreach(var IN ITEMS IN OUT SIZE)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "PadFile.cmake: ${var} is not set")
  endif()
endforeach()
file(SIZE "${IN}" have)
if(have GREATER SIZE)
  message(FATAL_ERROR "PadFile.cmake: ${IN} holds ${have} bytes, more than ${SIZE}")
endif()
file(COPY_FILE "${IN}" "${OUT}.part")
math(EXPR missing "${SIZE} - ${have}")
# 64 bytes, then 1 MiB of them: appended a mebibyte at a time, then the remainder.
set(pattern "zyne-bench padding, not part of the library image: never mapped\n")
string(LENGTH "${pattern}" patternLength)
if(NOT patternLength EQUAL 64)
  message(FATAL_ERROR "PadFile.cmake: the pattern must be 64 bytes, not ${patternLength}")
endif()
string(REPEAT "${pattern}" 16384 mebibyte)
while(missing GREATER_EQUAL 1048576)
  file(APPEND "${OUT}.part" "${mebibyte}")
  math(EXPR missing "${missing} - 1048576")
endwhile()
if(missing GREATER 0)
  string(SUBSTRING "${mebibyte}" 0 ${missing} tail)
  file(APPEND "${OUT}.part" "${tail}")
endif()
file(RENAME "${OUT}.part" "${OUT}")
