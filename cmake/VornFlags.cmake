# Compiler flags. The library core gets the strict set (no exceptions, no RTTI,
# no fused multiply-add, hidden visibility); tests and tools get the warnings only.

set(VORN_WARNINGS -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(VORN_WERROR)
  list(APPEND VORN_WARNINGS -Werror)
endif()

# Exact single-precision results depend on never contracting a*b+c. The core's sources
# say so themselves (src/math/fp_rules.h); the flag also covers the host layer and tests.
set(VORN_FP_FLAGS -ffp-contract=off)

set(VORN_CORE_FLAGS ${VORN_WARNINGS} ${VORN_FP_FLAGS} -fno-exceptions -fno-rtti
    -fno-threadsafe-statics -fvisibility=hidden -fvisibility-inlines-hidden)

if(VORN_SANITIZE)
  set(VORN_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=all
      -fno-omit-frame-pointer)
  add_compile_options(${VORN_SANITIZER_FLAGS})
  add_link_options(${VORN_SANITIZER_FLAGS})
endif()
