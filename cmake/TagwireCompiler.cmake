# Warnings and sanitizers, the same for every target of the tree: link to tagwire::compiler privately.
add_library(tagwire_compiler INTERFACE)
add_library(tagwire::compiler ALIAS tagwire_compiler)
target_compile_options(tagwire_compiler INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wpointer-arith -Wvla -Wformat=2 -Wundef
  $<$<BOOL:${TAGWIRE_WERROR}>:-Werror>
  # What this one says of joined strings and of compared vectors is a fault of the compiler's.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict;-Wno-stringop-overread>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>)

if(TAGWIRE_SANITIZE STREQUAL "address")
  set(sanitize -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # These two need the C++ run-time part of the sanitizer, which a C program does not link.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND sanitize -fno-sanitize=function,vptr)
  endif()
elseif(TAGWIRE_SANITIZE STREQUAL "thread")
  set(sanitize -fsanitize=thread -fno-omit-frame-pointer)
elseif(TAGWIRE_SANITIZE)
  message(FATAL_ERROR "TAGWIRE_SANITIZE is '${TAGWIRE_SANITIZE}': use address, thread or nothing")
endif()
if(sanitize)
  add_compile_options(${sanitize})
  add_link_options(${sanitize})
endif()

# Compiles sources of a target as one, since what they include takes longer than they do. Their unnamed namespaces are
# one then, too. A source that is in no group is compiled alone.
function(tagwire_compile_together target group)
  set_source_files_properties(${ARGN} PROPERTIES UNITY_GROUP ${group})
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${TAGWIRE_UNITY} UNITY_BUILD_MODE GROUP)
endfunction()
