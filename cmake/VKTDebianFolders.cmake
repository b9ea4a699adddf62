# SPDX-License-Identifier: Apache-2.0
# Where Debian wants things that lie elsewhere by default. Set for this run only, so that the next
# one without VKT_DEBIAN_PACKAGES is as before.
set(CMAKE_INSTALL_LIBDIR "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
set(VKT_ZSH_COMPLETIONS share/zsh/vendor-completions)
# The loader searches the libraries' folder anyway.
set(CMAKE_SKIP_INSTALL_RPATH ON)
