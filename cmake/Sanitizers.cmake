# VARNEL_SANITIZE names the sanitizers; empty builds without any.
add_library(VarnelSanitizers INTERFACE)
if(VARNEL_SANITIZE)
  list(JOIN VARNEL_SANITIZE "," VARNEL_SANITIZE_FLAG)
  target_compile_options(VarnelSanitizers INTERFACE
    -fsanitize=${VARNEL_SANITIZE_FLAG} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(VarnelSanitizers INTERFACE -fsanitize=${VARNEL_SANITIZE_FLAG})
  # GCC cannot follow the fences inside Asio; its queues synchronise by a mutex as well.
  if("thread" IN_LIST VARNEL_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(VarnelSanitizers INTERFACE -Wno-tsan)
  endif()
endif()
