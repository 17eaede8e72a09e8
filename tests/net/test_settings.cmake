# The attach tests run a plain C client of the shared library as a process of
# its own, so that the library's load-time attach runs under a chosen registry.
add_executable(kxsupt_net_probe ${dir}/net_probe.c)
target_link_libraries(kxsupt_net_probe PRIVATE kxsupt)
target_compile_definitions(kxsupt_test_net PRIVATE
  KXSUPT_NET_PROBE_PATH="$<TARGET_FILE:kxsupt_net_probe>")
add_dependencies(kxsupt_test_net kxsupt_net_probe)
