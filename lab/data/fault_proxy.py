"""Stands between a service of this host and its clients and spoils the answers.

fault_proxy.py LISTEN SERVICE tcp|udp FAULT

LISTEN and SERVICE are ports of this host; packets for SERVICE are redirected to LISTEN by the caller. FAULT:
  reset    hangs up with a reset at the first bytes      close    hangs up in good order at the first bytes
  mute     takes everything, answers nothing             drip     answers rightly, one byte each second
  half     half of the first answer, then silence        cut      half of the first answer, then the end
  garbage  random bytes for an answer                    wrong    well-formed, but not what was asked for
  late     rightly, two seconds late
"""
import os
import random
import socket
import struct
import sys
import threading
import time

ADDRESS = "0.0.0.0"
DRIP_SECONDS = 1
LATE_SECONDS = 2


def ldap_no_entry(question):
    """A search or bind answer of success with nothing in it, under the question's message number (RFC 4511)."""
    number = question[question.find(b"\x02", 1) + 2] if b"\x02" in question[1:8] else 1
    bind = b"\x60" in question[4:8]
    operation = 0x61 if bind else 0x65
    return bytes([0x30, 0x0C, 0x02, 0x01, number & 0x7F, operation, 0x07, 0x0A, 0x01, 0x00, 0x04, 0x00, 0x04, 0x00])


def kerberos_error(_question):
    """KRB_ERROR 60, generic, of a realm that nobody asked for (RFC 4120, 5.9.1)."""
    def der(tag, body):
        return bytes([tag, len(body)]) + body

    name = der(0x30, der(0xA0, der(0x02, b"\x00")) + der(0xA1, der(0x30, der(0x1B, b"krbtgt"))))
    fields = [(0, der(0x02, b"\x05")), (1, der(0x02, b"\x1e")), (4, der(0x18, b"20260101000000Z")), (5, der(0x02, b"\x00")),
              (6, der(0x02, b"\x3c")), (9, der(0x1B, b"ELSEWHERE")), (10, name)]
    message = der(0x7E, der(0x30, b"".join(der(0xA0 + tag, body) for tag, body in fields)))
    return struct.pack(">I", len(message)) + message


def dns_nothing(question):
    """NOERROR without a record, to the same question (RFC 1035)."""
    return question[:2] + b"\x81\x80" + question[4:6] + b"\0\0\0\0\0\0" + question[12:].split(b"\0\0\x29")[0]


def ntp_zero(question):
    """An answer of stratum 0: no time to give (RFC 5905, 7.4)."""
    return bytes([0x24, 0]) + question[2:24] + question[40:48] + question[24:40]


def http_page(_question):
    return b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi"


WRONG = {389: ldap_no_entry, 3268: ldap_no_entry, 88: kerberos_error, 464: kerberos_error, 53: dns_nothing, 123: ntp_zero}


class Spoiler:
    def __init__(self, listen, service, fault):
        self.listen, self.service, self.fault = listen, service, fault

    def spoiled(self, question, answer):
        """The bytes to send for one answer, and whether it ends there."""
        if self.fault == "garbage":
            return random.Random(1).randbytes(max(len(answer), 40)), False
        if self.fault == "wrong":
            return WRONG.get(self.service, http_page)(question), False
        if self.fault in ("half", "cut"):
            return answer[: len(answer) // 2], True
        return answer, False

    def udp(self):
        here = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        here.bind((ADDRESS, self.listen))
        while True:
            question, client = here.recvfrom(65535)
            threading.Thread(target=self.answer_datagram, args=(here, question, client), daemon=True).start()

    def answer_datagram(self, here, question, client):
        if self.fault == "mute":
            return
        answer = b""
        if self.fault not in ("garbage", "wrong"):
            there = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            there.settimeout(5)
            there.sendto(question, ("127.0.0.1", self.service))
            answer = there.recv(65535)
        if self.fault in ("late", "drip"):
            time.sleep(LATE_SECONDS)
        here.sendto(self.spoiled(question, answer)[0], client)

    def tcp(self):
        here = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        here.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        here.bind((ADDRESS, self.listen))
        here.listen(200)
        while True:
            client, _ = here.accept()
            threading.Thread(target=self.serve, args=(client,), daemon=True).start()

    def serve(self, client):
        try:
            self.talk(client)
        except OSError:
            pass
        finally:
            client.close()

    def talk(self, client):
        question = client.recv(65535)
        if not question or self.fault == "close":
            return
        if self.fault == "reset":
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            return
        if self.fault == "mute":
            while client.recv(65535):
                pass
            return
        there = socket.create_connection(("127.0.0.1", self.service), 5)
        there.settimeout(30)
        while question:
            there.sendall(question)
            if not self.pass_back(there, client, question):
                return
            question = client.recv(65535)

    def pass_back(self, there, client, question):
        """One answer on its way back; false when the conversation ends with it."""
        answer = there.recv(65535)
        if not answer:
            return False
        if self.fault == "late":
            time.sleep(LATE_SECONDS)
        data, last = self.spoiled(question, answer)
        if self.fault == "drip":
            for byte in data:
                client.sendall(bytes([byte]))
                time.sleep(DRIP_SECONDS)
        else:
            client.sendall(data)
        if last and self.fault == "half":
            while client.recv(65535):
                pass
        return not last


def main():
    listen, service, transport, fault = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3], sys.argv[4]
    spoiler = Spoiler(listen, service, fault)
    os.write(1, b"ready\n")
    (spoiler.udp if transport == "udp" else spoiler.tcp)()


main()
