# The reference host's part of what is installed: its library, the owner's program and the operator's tool with their
# manual pages, completion and systemd unit, and files to start from.
install(DIRECTORY host/include/ DESTINATION ${mox_header_dir} COMPONENT development FILES_MATCHING PATTERN "*.h")
mox_install_package_files(moxhost)

install(TARGETS ${mox_installed_programs} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(FILES tool/man/moxctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES tool/man/moxd.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT tools)
install(FILES tool/moxctl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME moxctl
    COMPONENT tools)

# A unit's command is an absolute path, so it is made for the prefix.
configure_file(host/moxd.service.in ${CMAKE_BINARY_DIR}/install/moxd.service @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/install/moxd.service DESTINATION lib/systemd/system COMPONENT tools)

# The profile is for trying the programs, the module is one to start from; the scripts show gdb the object model.
set(mox_shared_dir ${CMAKE_INSTALL_DATADIR}/moxbase)
install(FILES examples/profile.schema.json examples/machine.json DESTINATION ${mox_shared_dir} COMPONENT tools)
install(FILES examples/sensor_module.cpp examples/value_text.cpp examples/value_text.hpp
    DESTINATION ${mox_shared_dir}/examples COMPONENT development)
install(FILES examples/installed.mk DESTINATION ${mox_shared_dir}/examples RENAME Makefile COMPONENT development)
install(FILES tools/gdb/moxbase-gdb.py tools/gdb/moxbase_records.py DESTINATION ${mox_shared_dir}/gdb
    COMPONENT development)
