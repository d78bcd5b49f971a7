#!/usr/bin/env python3
"""Writes ExchangeTimeZones.plist from the CLDR Windows zone mapping.

Usage: make_exchange_time_zones.py [windowsZones.xml] > ExchangeTimeZones.plist

The CLDR file comes with Debian's unicode-cldr-core package
(/usr/share/unicode/cldr/common/supplemental/windowsZones.xml). The resulting
dictionary holds, in one table:
  - every platform zone listed for a Windows zone -> that Windows zone name;
  - every Windows zone name -> its default platform zone (territory "001");
  - every Windows display name ("(UTC+01:00) Amsterdam, ...") -> that same
    default platform zone.
"""
import re
import sys
from xml.sax.saxutils import escape

DEFAULT_SOURCE = "/usr/share/unicode/cldr/common/supplemental/windowsZones.xml"


def read_mapping(path):
    text = open(path, encoding="utf-8").read()
    table = {}
    display = None
    token = re.compile(r'<!--\s*(.*?)\s*-->|<mapZone\s+other="([^"]+)"\s+territory="([^"]+)"\s+type="([^"]+)"')
    for match in token.finditer(text):
        comment, windows, territory, platform = match.groups()
        if comment is not None:
            display = comment if comment.startswith("(UTC") else None
            continue
        if territory == "001":
            table[windows] = platform
            if display:
                table[display] = platform
        for name in platform.split():
            table.setdefault(name, windows)
    return table


def main():
    table = read_mapping(sys.argv[1] if len(sys.argv) > 1 else DEFAULT_SOURCE)
    out = ['<?xml version="1.0" encoding="UTF-8"?>',
           '<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" '
           '"http://www.apple.com/DTDs/PropertyList-1.0.dtd">',
           '<plist version="1.0">', "<dict>"]
    for key in sorted(table):
        out.append("\t<key>%s</key>\n\t<string>%s</string>" % (escape(key), escape(table[key])))
    out += ["</dict>", "</plist>", ""]
    sys.stdout.write("\n".join(out))


if __name__ == "__main__":
    main()
