# The headers are those that the other builds of this machine find, and check.
set(PACKAGE_VERSION_COMPATIBLE TRUE)
