# The libraries whose interface is recorded in abi/ tell their types in the debug information of optimised builds;
# tools/check-abi.sh reads them there, and so does a debugger. Installed files are stripped of it.
if(NOT MOX_SANITIZE)
    target_compile_options(moxbase_objects PRIVATE -g2)
    if(TARGET moxhost)
        target_compile_options(moxhost PRIVATE -g2)
    endif()
endif()
