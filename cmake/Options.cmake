# The warnings and sanitizers that every target of the project is built with.

add_library(ledgerfern_options INTERFACE)
target_compile_options(ledgerfern_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wimplicit-fallthrough -Werror
  # GCC 12 sees both where there is nothing, in strings and optionals of its own library, once it optimises.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict -Wno-maybe-uninitialized>
  # GCC's stable_sort calls a function that its library has deprecated itself, and clang doesn't overlook that.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-deprecated-declarations>)

# Objects of Objective-C are counted by the compiler, and the system's headers keep their macros to themselves, such
# as one that is called `check`.
if(APPLE)
  target_compile_options(ledgerfern_options INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
  target_compile_definitions(ledgerfern_options INTERFACE __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES=0)
endif()

# A sum has the same last bit on every machine, also on those that can multiply and add in one step.
target_compile_options(ledgerfern_options INTERFACE -ffp-contract=off)

if(LEDGERFERN_SANITIZE)
  target_compile_options(ledgerfern_options INTERFACE
    -fsanitize=${LEDGERFERN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(ledgerfern_options INTERFACE -fsanitize=${LEDGERFERN_SANITIZE})
endif()

find_program(LEDGERFERN_CCACHE ccache)
if(LEDGERFERN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${LEDGERFERN_CCACHE})
endif()
