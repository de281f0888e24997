#!/usr/bin/python3
"""load.py USERS: loads LDIF from standard input and the table of users into the directory, in one transaction.

Runs on the domain controller, through all directory modules; the services need not run. In the LDIF an entry of
class `site` stands for the whole site with the objects that samba-tool would make.
"""
import sys

import ldb
from samba import sites
from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB


def add_entries(db, text):
    """Adds what the LDIF says; `changetype: modify` works as well."""
    config = db.get_config_basedn()
    for change, entry in db.parse_ldif(text):
        if change == ldb.CHANGETYPE_MODIFY:
            db.modify(entry)
        elif b"site" in list(entry.get("objectClass", [])):
            sites.create_site(db, config, entry.dn.get_rdn_value())
        else:
            db.add(entry)


def add_users(db, table):
    """Adds one user a line: account, name, password, state."""
    for line in table:
        if line.startswith("#") or not line.strip():
            continue
        account, name, password, state = line.rstrip("\n").split("|")
        given, family = name.split(" ", 1)
        db.newuser(account, password, force_password_change_at_next_login_req=state == "mustchange",
                   givenname=given, surname=family, useusernameascn=True)
        match = "(sAMAccountName=%s)" % ldb.binary_encode(account)
        if state == "disabled":
            db.disable_account(match)
        elif state == "expired":
            db.setexpiry(match, -86400)


def main():
    lp = LoadParm()
    lp.load_default()
    db = SamDB(session_info=system_session(), lp=lp, options=["batch_mode:1", "nosync:1"])
    db.transaction_start()
    add_entries(db, sys.stdin.read())
    with open(sys.argv[1], encoding="utf-8") as table:
        add_users(db, table)
    db.transaction_commit()


main()
