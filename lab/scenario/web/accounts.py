#!/usr/bin/python3
"""accounts.py on DIRECTORY | off: the accounts of the web scenario, and the keytabs of its two services.

Runs on the domain controller. The keys are AES, as a current domain makes them.
"""
import sys

import ldb
import samba.dckeytab  # gives Net its export_keytab
from samba.auth import system_session
from samba.net import Net
from samba.param import LoadParm
from samba.samdb import SamDB

USERS = {"web.one": "Web-One-Pass1", "web.two": "Web-Two-Pass1"}
SERVICES = ("proxy1", "web1")
KERBEROS_AES = "24"


def remove(db):
    """Deletes what an earlier call made; what is not there is no error."""
    names = list(USERS) + [name.upper() + "$" for name in SERVICES]
    for name in names:
        for entry in db.search(db.domain_dn(), ldb.SCOPE_SUBTREE, "(sAMAccountName=%s)" % name, ["dn"]):
            db.delete(entry.dn)


def add_service(db, name, domain):
    """A computer account that serves HTTP."""
    db.add({
        "dn": "CN=%s,CN=Computers,%s" % (name.upper(), db.domain_dn()),
        "objectClass": "computer",
        "sAMAccountName": name.upper() + "$",
        "userAccountControl": "4096",
        "dNSHostName": "%s.%s" % (name, domain),
        "servicePrincipalName": ["HTTP/%s.%s" % (name, domain), "HTTP/" + name.upper()],
        "msDS-SupportedEncryptionTypes": KERBEROS_AES,
    })
    db.setpassword("(sAMAccountName=%s$)" % name.upper(), "Service-%s-Pass1" % name, force_change_at_next_login=False)


def main():
    lp = LoadParm()
    lp.load_default()
    db = SamDB(session_info=system_session(), lp=lp, options=["nosync:1"])
    domain = lp.get("realm").lower()
    db.transaction_start()
    remove(db)
    if sys.argv[1] == "on":
        for user, password in USERS.items():
            db.newuser(user, password)
        for name in SERVICES:
            add_service(db, name, domain)
    db.transaction_commit()
    if sys.argv[1] == "on":
        for name in SERVICES:
            Net(None, lp).export_keytab(keytab="%s/%s.keytab" % (sys.argv[2], name), principal="HTTP/%s.%s" % (name, domain))


main()
