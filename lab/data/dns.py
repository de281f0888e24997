#!/usr/bin/python3
"""dns.py: adds and removes DNS records, straight in the directory that samba's DNS server answers from.

Runs on the domain controller. Each line of standard input: add|remove NAME TYPE DATA. The data of a SRV record is
PRIORITY WEIGHT PORT HOST. A record that is there already, or not there, is no error.
"""
import sys

import ldb
from samba.auth import system_session
from samba.dcerpc import dnsp
from samba.ndr import ndr_pack, ndr_unpack
from samba.param import LoadParm
from samba.provision.sambadns import ARecord, CNAMERecord, SRVRecord
from samba.samdb import SamDB


def make_record(kind, data):
    """A record in the form the directory keeps (MS-DNSP 2.3.2.2)."""
    if kind == "A":
        return ARecord(data[0])
    if kind == "CNAME":
        return CNAMERecord(data[0])
    if kind == "SRV":
        priority, weight, port = (int(number) for number in data[:3])
        return SRVRecord(data[3], port, priority, weight)
    if kind == "PTR":
        record = dnsp.DnssrvRpcRecord()
        record.wType = dnsp.DNS_TYPE_PTR
        record.rank = dnsp.DNS_RANK_ZONE
        record.dwTtlSeconds = 900
        record.data = data[0]
        return record
    raise SystemExit("dns.py: unknown record type '%s'" % kind)


def identity(record):
    """What makes two records the same."""
    if record.wType == dnsp.DNS_TYPE_SRV:
        return record.wType, record.data.nameTarget.lower(), record.data.wPort
    return record.wType, str(record.data).lower()


def zones(db):
    """The DNS zones as pairs of name and DN, the longest name first."""
    found = []
    for partition in ("DomainDnsZones", "ForestDnsZones"):
        base = "CN=MicrosoftDNS,DC=%s,%s" % (partition, db.domain_dn())
        for entry in db.search(base, ldb.SCOPE_ONELEVEL, "(objectClass=dnsZone)", ["dc"]):
            found.append((str(entry["dc"]).lower(), entry.dn))
    return sorted(found, key=lambda zone: -len(zone[0]))


def node_dn(db, known, name):
    """The DN of the object that holds the records of this name."""
    for zone, dn in known:
        if name == zone or name.endswith("." + zone):
            node = ldb.Dn(db, "DC=x")
            node.set_component(0, "DC", name[:-len(zone) - 1] or "@")
            node.add_base(dn)
            return node
    raise SystemExit("dns.py: no zone of this server holds '%s'" % name)


def change(db, known, action, name, kind, data):
    """Adds or removes one record of a name."""
    record = make_record(kind, data)
    dn = node_dn(db, known, name.lower())
    entries = db.search(dn.parent(), ldb.SCOPE_ONELEVEL, "(distinguishedName=%s)" % dn, ["dnsRecord"])
    present = [ndr_unpack(dnsp.DnssrvRpcRecord, value) for entry in entries for value in entry.get("dnsRecord", [])]
    kept = [one for one in present if one.wType != dnsp.DNS_TYPE_TOMBSTONE and identity(one) != identity(record)]
    if action == "add":
        kept.append(record)
    if kept:
        message = ldb.Message(dn)
        values = [ndr_pack(one) for one in kept]
        if entries:
            message["dnsRecord"] = ldb.MessageElement(values, ldb.FLAG_MOD_REPLACE, "dnsRecord")
            message["dNSTombstoned"] = ldb.MessageElement("FALSE", ldb.FLAG_MOD_REPLACE, "dNSTombstoned")
            db.modify(message)
        else:
            message["objectClass"] = "dnsNode"
            message["dnsRecord"] = ldb.MessageElement(values, ldb.FLAG_MOD_ADD, "dnsRecord")
            db.add(message)
    elif entries:
        db.delete(dn)


def main():
    lp = LoadParm()
    lp.load_default()
    db = SamDB(session_info=system_session(), lp=lp, options=["nosync:1"])
    known = zones(db)
    db.transaction_start()
    for line in sys.stdin:
        action, name, kind, *data = line.split()
        change(db, known, action, name, kind, data)
    db.transaction_commit()


main()
