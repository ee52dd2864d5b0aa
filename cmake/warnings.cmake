# Warnings of our own code are errors; dependencies are compiled without them.
add_library(tarn_warnings INTERFACE)
target_compile_options(tarn_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
  -Wundef $<$<NOT:$<BOOL:${TARN_FUZZ}>>:-Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)

if(TARN_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(TARN_SANITIZE)
  add_compile_options(-fsanitize=${TARN_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TARN_SANITIZE})
endif()
