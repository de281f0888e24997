#!/usr/bin/python3
"""load.py [--skip-present] [USERS]: loads LDIF from standard input and the table of users into the directory, in one
transaction.

Runs on the domain controller, through all directory modules, whether or not its services run. In the LDIF an entry
of class `site` stands for the whole site with the objects that samba-tool would make. With --skip-present an entry
that exists is left alone.
"""
import sys

import ldb
from samba import sites
from samba.auth import system_session
from samba.param import LoadParm
from samba.samdb import SamDB


def add_entry(db, entry):
    """Adds one entry; a site with all that belongs to it."""
    if b"site" in list(entry.get("objectClass", [])):
        sites.create_site(db, db.get_config_basedn(), entry.dn.get_rdn_value())
    else:
        db.add(entry)


def load(db, text, skip_present):
    """Carries out what the LDIF says; `changetype: modify` works as well."""
    for change, entry in db.parse_ldif(text):
        if change == ldb.CHANGETYPE_MODIFY:
            db.modify(entry)
        elif not (skip_present and present(db, entry.dn)):
            add_entry(db, entry)


def present(db, dn):
    """Whether an entry exists."""
    try:
        return bool(db.search(dn, ldb.SCOPE_BASE, attrs=["cn"]))
    except ldb.LdbError as error:
        if error.args[0] != ldb.ERR_NO_SUCH_OBJECT:
            raise
        return False


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


def main(arguments):
    skip_present = "--skip-present" in arguments
    lp = LoadParm()
    lp.load_default()
    db = SamDB(session_info=system_session(), lp=lp, options=["batch_mode:1", "nosync:1"])
    db.transaction_start()
    load(db, sys.stdin.read(), skip_present)
    for name in arguments:
        if name != "--skip-present":
            with open(name, encoding="utf-8") as table:
                add_users(db, table)
    db.transaction_commit()


main(sys.argv[1:])
