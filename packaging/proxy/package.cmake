# The Debian package dw-hal-mux-proxy, the component "proxy". The program is installed by proxy/.
set(proxy_documents ${CMAKE_INSTALL_DATADIR}/doc/dw-hal-mux-proxy)

install(FILES ${CMAKE_CURRENT_BINARY_DIR}/copyright DESTINATION ${proxy_documents} COMPONENT proxy)
mux_install_compressed(debian/changelog ${proxy_documents} changelog proxy)
mux_install_compressed(man/mux-proxy.8 ${CMAKE_INSTALL_MANDIR}/man8 mux-proxy.8 proxy)
mux_install_compressed(man/mux-proxy-certificates.1 ${CMAKE_INSTALL_MANDIR}/man1 mux-proxy-certificates.1 proxy)
install(FILES completion/mux-proxy DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT proxy)
install(FILES systemd/dw-hal-mux-proxy@.service DESTINATION lib/systemd/system COMPONENT proxy)
install(DIRECTORY prometheus DESTINATION ${proxy_documents}/examples COMPONENT proxy)
install(DIRECTORY proxy/examples DESTINATION ${proxy_documents} COMPONENT proxy)
install(DIRECTORY DESTINATION /etc/dw-hal-mux-proxy COMPONENT proxy)

list(APPEND CPACK_COMPONENTS_ALL proxy)
set(CPACK_DEBIAN_PROXY_PACKAGE_NAME dw-hal-mux-proxy)
set(CPACK_DEBIAN_PROXY_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_PROXY_PACKAGE_RECOMMENDS openssl)
set(CPACK_DEBIAN_PROXY_PACKAGE_SUGGESTS "dw-hal-mux-brenk, nftables")
set(CPACK_DEBIAN_PROXY_PACKAGE_CONTROL_EXTRA
  ${CMAKE_CURRENT_SOURCE_DIR}/proxy/postinst
  ${CMAKE_CURRENT_SOURCE_DIR}/proxy/prerm
  ${CMAKE_CURRENT_SOURCE_DIR}/proxy/postrm)
set(CPACK_COMPONENT_PROXY_DESCRIPTION
"protected entrance of the Mux for electronic door locks
Takes requests of clients over TLS with client certificates, checks what each
may do, writes it to an audit and passes it on to the Mux, one request after
the other for each gateway. Each request gets exactly one answer.
.
A systemd unit runs one instance for each site. With mux-proxy-certificates,
which makes a site's own certificates.")
