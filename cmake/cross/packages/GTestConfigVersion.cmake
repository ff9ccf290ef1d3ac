# Whatever Debian's sources are: their own build says nothing of it before it is entered.
set(PACKAGE_VERSION_COMPATIBLE TRUE)
