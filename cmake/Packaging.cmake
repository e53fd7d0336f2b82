# install
