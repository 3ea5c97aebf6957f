"""Certificate authorities and server certificates, created for a test."""

import os
import ssl

from support import process

DAYS = "2"


class Authority:
    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        self.certificate = self._file(name + ".crt")
        self._openssl("req", "-x509", *self._new_key(name), "-days", DAYS, "-subj", f"/CN={name}",
                      "-out", self.certificate)

    def server_lines(self, host):
        """Returns lines for a mosquitto listener that has a certificate for `host`, such as "IP:127.0.0.1"."""
        certificate, key = self._server(host)
        return "allow_anonymous true", f"certfile {certificate}", f"keyfile {key}"

    def server_context(self, host):
        """Returns a context for a Python server that has such a certificate."""
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(*self._server(host))
        return context

    def _server(self, host):
        server = self.name + "-server"
        request, extensions = self._file(server + ".csr"), self._file(server + ".ext")
        self._openssl("req", "-new", *self._new_key(server), "-subj", "/CN=server", "-out", request)
        with open(extensions, "w", encoding="utf-8") as file:
            file.write(f"subjectAltName = {host}\n")
        self._openssl("x509", "-req", "-in", request, "-CA", self.certificate,
                      "-CAkey", self._file(self.name + ".key"), "-CAcreateserial",
                      "-days", DAYS, "-extfile", extensions, "-out", self._file(server + ".crt"))
        return self._file(server + ".crt"), self._file(server + ".key")

    def _new_key(self, name):
        return ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                "-keyout", self._file(name + ".key"))

    def _file(self, name):
        return os.path.join(self.folder, name)

    @staticmethod
    def _openssl(*arguments):
        process.run(["openssl", *arguments])
