# What every target of this tree is compiled with. Nothing here reaches a user of the installed
# library: the interface of tessalune::tessalune carries only its include path and the threads.

add_library(tessalune_options INTERFACE)
target_compile_options(tessalune_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion
  -Wsign-conversion -Wdouble-promotion -Wformat=2
  $<$<BOOL:${TESSALUNE_WERROR}>:-Werror>)
if(TESSALUNE_SANITIZE)
  target_compile_options(tessalune_options INTERFACE
    -fsanitize=${TESSALUNE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tessalune_options INTERFACE -fsanitize=${TESSALUNE_SANITIZE})
endif()

# The instruction sets for which the built-in primitives are compiled, by the names that
# InstructionSetName gives them.
set(TESSALUNE_INSTRUCTION_SETS baseline)
if(NOT TESSALUNE_X86_SETS)
  target_compile_definitions(tessalune_options INTERFACE TESSALUNE_BASELINE_ONLY)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  list(APPEND TESSALUNE_INSTRUCTION_SETS avx2 avx512)
endif()
