#!/usr/bin/env -S python3 -B
"""What the tool writes is read by another implementation, Python's own, and must say the same: interop.py KELMIME TESTS
Drafts are composed, then edited and reencoded; of the messages that come with the tests, what an edit or a transport form must
not change is compared before and after.
"""
import email, email.policy, hashlib, itertools, json, pathlib, re, subprocess, sys, tempfile
from comparison import check, exit_with_result

KELMIME, TESTS = sys.argv[1], pathlib.Path(sys.argv[2])

TEXTS = {
    "ascii": "Hello,\n\nthis is it.\n", "empty": "", "no line feed at the end": "Hello",
    "utf-8": "Gr\u00fc\u00dfe \u2615 \U0001f600\n\u65e5\u672c\u8a9e\n",
    "long lines": ("word " * 60).rstrip() + "\n\n" + ("\u00e4\u00f6\u00fc " * 60).rstrip() + "\nend\n",
    "long lines that need stuffing": " leading\n> quoted line\nFrom here\n-- \n" + ("and on " * 40).rstrip() + "\n From\n\n",
    "quotes": "> " + ("quoted " * 30).rstrip() + "\n>> " + ("deeper " * 30).rstrip() + "\nanswer\n> again\n",
    "trailing blanks": "a \nb\t\n\n  \n-- \nsig\n",
    "long word": "https://example.org/" + "x" * 800 + "\n" + "y" * 500,
    "control bytes": "bell \a, escape \033[0m, form feed \f\n",
    "dots and equals": ".\n..\n=3D =\n=\n" + "=" * 200 + "\n",
    "looks like a delimiter": "--\n--x\n--=_Postwick_\nFrom \n",
}
SUBJECTS = ["plain", "Gr\u00fc\u00dfe an alle", "=?utf-8?q?not=20encoded?=", "\u65e5\u672c\u8a9e" * 40, "long " * 60 + "end",
            "x" * 300, "a  b \u00e9  \u00e9 c", "_=?\u00fc?=_", "caf\u00e9, \"quoted\" (comment) <x@y>", "\U0001f600" * 30]
SENDERS = [("", "ann@example.org"), ("Ann Lee", "ann@example.org"), ("Zo\u00eb Lee", "zoe@example.org"), ("Doe, John", "j@x.org"),
           ("\u00dc, the X", "u@x.org"), ("A \"B\" \\ C", "b@x.org"), ("a.b (c)", "a.b+c@x.org"), ("\u65e5\u672c" * 30, "n@x.org"),
           ("=?utf-8?q?x?=", "e@x.org"), ("J\u00f6rg @ home", "j@x.org"), ("O'Brien; x", "o@x.org")]
NAMES = ["plan.pdf", "\u00dcbersicht f\u00fcr alle.pdf", "a b; c=\"d\".txt", "\u65e5\u672c\u8a9e" * 25 + ".bin", "n" * 150 + ".png", "it's 100%.dat",
         "=?utf-8?q?x?=.txt", "(comment).txt", "caf\u00e9\u2028\U0001f600.txt", ".hidden", "* star*0.txt", "a'b'c.txt"]
BYTES = [b"", b"%PDF-1.4\n", bytes(range(256)) * 5, "Gr\u00fc\u00dfe\n".encode("latin-1"), b"a\r\nb\rc\n", b"text \n" * 20]

def run(*arguments, data=b""):
    done = subprocess.run([KELMIME, *arguments], input=data, capture_output=True)
    check(f"{arguments[0]} succeeds", (0, b""), (done.returncode, done.stderr))
    return done.stdout

def deflowed(text):
    """RFC 3676, section 4: the text of flowed lines, quote marks before each paragraph of a quote."""
    paragraphs, is_open = [], False
    for line in text.removesuffix("\n").split("\n") if text else []:
        marks = re.match(">*", line)[0]
        line = line[len(marks):].removeprefix(" ")
        if is_open and paragraphs[-1][0] == marks:
            paragraphs[-1][1] += line
        else:
            paragraphs.append([marks, line])
        is_open = line.endswith(" ") and line != "-- "
    return "\n".join(marks + " " * bool(marks) + line for marks, line in paragraphs) + "\n" * text.endswith("\n")

def text_of(part):
    text = part.get_payload(decode=True).decode(part.get_content_charset("us-ascii"))
    return deflowed(text) if part.get_param("format") == "flowed" else text

def without_trailing_blanks(text):
    """What flowing takes out of a text, and showing one that is not flowed."""
    return "\n".join(line if line == "-- " else line.rstrip(" ") for line in text.split("\n"))

def parsed(data):
    return email.message_from_bytes(data, policy=email.policy.default)

def json_leaves(part):
    return [leaf for child in part["subParts"] for leaf in json_leaves(child)] if "subParts" in part else [part]

def leaves(part):
    return [leaf for leaf in part.walk() if not leaf.is_multipart()]

def tree(part):
    return [part.get_content_type(), *map(tree, part.get_payload() if part.is_multipart() else [])]

def json_tree(part):
    return [part["type"], *map(json_tree, part.get("subParts", []))]

def phrase(name):
    """Python leaves a blank between two encoded words of a name, which RFC 2047, section 6.2, takes out."""
    return (name or "").replace(" ", "")

def their_addresses(header):
    return [(phrase(entry.display_name), entry.username, entry.domain) for entry in header.addresses]

def our_addresses(entries):
    pairs = [(phrase(entry["name"]), *entry["email"].rsplit("@", 1)) for entry in entries]
    return [(name, local, domain.encode("idna").decode()) for name, local, domain in pairs]

def compare(name, data):
    """Both readers find the same in a well-formed message."""
    ours, theirs = json.loads(run("json", "--bodies=all", data=data)), parsed(data)
    check(f"{name}: tree", tree(theirs), json_tree(ours["bodyStructure"]))
    check(f"{name}: subject", str(theirs["subject"]), ours["subject"])
    for header in ("from", "to"):
        check(f"{name}: {header}", their_addresses(theirs[header]), our_addresses(ours[header]))
    for leaf, part in zip(leaves(theirs), json_leaves(ours["bodyStructure"])):
        check(f"{name}: name", leaf.get_filename() or "", part["name"])
        if part["partId"] in ours["bodyValues"] and leaf.get_content_disposition() != "attachment":
            check(f"{name}: text", without_trailing_blanks(text_of(leaf)), ours["bodyValues"][part["partId"]]["value"])
        else:
            check(f"{name}: bytes", hashlib.sha256(leaf.get_payload(decode=True)).hexdigest(), part["sha256"])

def essence(data):
    message = parsed(data)
    return tree(message), [(leaf.get_content_type(), leaf.get_payload(decode=True)) for leaf in leaves(message)]

def compose(folder, title, text, subject, sender, name, content):
    """A draft with everything in it; Python finds what went in."""
    html = b'<img src="cid:logo.png">\n' if text else b""
    files = {"text": text.encode(), "html": html, "logo.png": b"\x89PNG", name: content, "letter.eml": b"Subject: inner\n\ninner\n"}
    for file, data in files.items():
        (folder / file).write_bytes(data)
    quoted = '"' + re.sub(r'(["\\])', r"\\\1", sender[0]) + '"' if sender[0] else ""
    headers = [f"From: {quoted} <{sender[1]}>", 'To: b@m\u00fcnchen.de, "Doe, John" <j@x.org>', "Subject: " + subject]
    parts = ["--html", folder / "html", "--related", folder / "logo.png"] if html else []
    data = run("compose", *itertools.chain(*(("-H", header) for header in headers)), "--text", folder / "text", *parts,
               "--attach", folder / name, "--attach", folder / "letter.eml")
    message, found = parsed(data), leaves(parsed(data))
    attached = next(leaf for leaf in found if leaf.get_content_disposition() == "attachment")
    is_flowed = found[0].get_param("format") == "flowed"
    check(f"{title}: subject", subject, str(message["subject"]))
    check(f"{title}: sender", phrase(sender[0]), phrase(message["from"].addresses[0].display_name))
    check(f"{title}: text", without_trailing_blanks(text) if is_flowed else text, text_of(found[0]))
    check(f"{title}: name", name, attached.get_filename())
    check(f"{title}: bytes", content, attached.get_payload(decode=True))
    check(f"{title}: line length", True, max(map(len, data.split(b"\n"))) <= 998)
    return data

def main():
    kinds = TEXTS.items(), SUBJECTS, SENDERS, NAMES, BYTES
    drafts = itertools.islice(zip(*map(itertools.cycle, kinds)), 3 * max(map(len, kinds)))  # different mixtures
    for (title, text), *others in drafts:
        with tempfile.TemporaryDirectory() as folder:
            draft = compose(pathlib.Path(folder), title, text, *others)
        compare(title, draft)
        compare(f"{title}, reencoded", run("reencode", data=draft))
        compare(f"{title}, edited", run("edit", "--set", "Subject: Ge\u00e4ndert", "--set", "To: \u00c4 <a@x.org>",
                                        "--drop-part", "3", data=draft))
    # Python ends a header block at the first line that is no header.
    for file in sorted({*TESTS.glob("messages/*/*.eml")} - {*TESTS.glob("messages/*/*_bad_headers.eml")}):
        data = file.read_bytes()
        check(f"{file.name}, edited", essence(data), essence(run("edit", "--set", "X-Test: \u00fc", data=data)))
        check(f"{file.name}, reencoded", essence(data), essence(run("reencode", data=data)))
    exit_with_result()

main()
