# What the compiler and the linker do against memory faults that are exploited,
# in every build without sanitizers, which bring their own.
target_compile_options(vos_options INTERFACE
  -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
# It needs the optimizer. A distribution's compiler may define it by itself.
set(optimized "$<CONFIG:RelWithDebInfo,Release,MinSizeRel>")
set(unoptimized "$<BOOL:$<TARGET_PROPERTY:UNOPTIMIZED>>")
target_compile_options(vos_options INTERFACE
  "$<$<AND:${optimized},$<NOT:${unoptimized}>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
target_link_options(vos_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,--build-id=sha1)

# Programs that the kernel may load anywhere.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Neither programs nor debug symbols tell the folder they were built in. Of the
# maps that fit, the last one counts.
target_compile_options(vos_options INTERFACE
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
