#!/usr/bin/env -S python3 -B
"""What the tool signs and encrypts is accepted by GnuPG and OpenSSL, and what they made is opened by the tool: protection.py KELMIME
Python's email module takes the messages apart and puts them together.
"""
import email, email.mime.text, email.policy, os, pathlib, re, subprocess, sys, tempfile
from comparison import check, exit_with_result

KELMIME = sys.argv[1]
EXACT = email.policy.compat32.clone(mangle_from_=False, max_line_length=0)
HEAD = b"From: Ann <ann@x.org>\nTo: bob@x.org\nSubject: Gr\xc3\xbc\xc3\x9fe\nMIME-Version: 1.0\n"
TEXT = b"Content-Type: text/plain; charset=utf-8\n"
ATTACHED = b"--b\n" + TEXT + b"\nFrom me: the secret\n--b\nContent-Type: application/pdf; name=a.pdf\nContent-Transfer-Encoding: base64\n\nJVBERg==\n--b--\n"
CONTENTS = {
    "text": TEXT + b"\nthe secret\n", "utf-8": TEXT + b"\nthe secret Gr\xc3\xbc\xc3\x9fe\n", "blanks": TEXT + b"\nthe secret \t\n\n \n-- \nAnn", "empty": TEXT + b"\n",
    "lines to be escaped": TEXT + b"\nFrom here the secret\n- dash\n.\n--b\n-----BEGIN PGP SIGNATURE-----\n", "long line": TEXT + b"\nthe secret " + b"word " * 300 + b"\n",
    "html": b"Content-Type: text/html\n\n<p>the secret</p>\n", "attachment": b"Content-Type: multipart/mixed; boundary=b\n\n" + ATTACHED,
}

def run(*command, data=b"", status=0):
    done = subprocess.run(command, input=data, capture_output=True)
    check(" ".join(map(str, command)), status, done.returncode)
    if done.returncode != status:
        print(done.stderr.decode(errors="replace"))
    return done.stdout

def gpg(*options, data=b"", status=0):
    return run("gpg", "--quiet", "--batch", "--no-tty", "--passphrase", "", "--trust-model", "always", *options, data=data, status=status)

def openssl(*options, data=b"", status=0):
    return run("openssl", *options, data=data, status=status)

def cms(*options, data=b"", status=0):
    return openssl("cms", *options, data=data, status=status)

def file(name, data):
    pathlib.Path(name).write_bytes(data)
    return name

def with_crlf(data):
    return data.replace(b"\n", b"\r\n")

def essence(data):
    """The types and contents of the leaves, whatever they are encoded in; no reader counts on blanks at line ends."""
    leaves = [leaf for leaf in email.message_from_bytes(data).walk() if not leaf.is_multipart()]
    return [(leaf.get_content_type(), re.sub(rb"[ \t]*\r?\n", b"\n", leaf.get_payload(decode=True) + b"\n").rstrip(b"\n")) for leaf in leaves]

# --- What the tool writes ----------------------------------------------------------------------------------------

def digest_of(protocol, signature):
    """What the signature itself says of it, as micalg spells it."""
    if protocol == "openpgp":
        number = re.search(rb"digest algo (\d+)", gpg("--list-packets", signature))[1]
        return "pgp-" + {b"8": "sha256", b"9": "sha384", b"10": "sha512", b"11": "sha224"}[number]
    signers = cms("-cmsout", "-print", "-noout", "-inform", "DER", "-in", signature).split(b"signerInfos:")[1]
    return "sha-" + re.search(rb"digestAlgorithm:\s+algorithm: sha(\d+)", signers)[1].decode()

def verify(protocol, content, signature, status=0):
    if protocol == "openpgp":
        gpg("--verify", signature, content, status=status)
    else:
        cms("-verify", "-binary", "-inform", "DER", "-in", signature, "-content", content, "-CAfile", "ca.pem", "-purpose", "smimesign", status=4 * status)

def check_signing(name, protocol, source):
    written = run(KELMIME, "sign", "--protocol", protocol, data=source)
    message = email.message_from_bytes(written, policy=EXACT)
    content, signature = message.get_payload()
    signed = content.as_bytes(policy=EXACT.clone(linesep="\r\n"))
    check(f"{name}: what is signed stands in the message", True, b"\n" + signed.replace(b"\r\n", b"\n") + b"\n--" in written)
    file("signature", signature.get_payload(decode=True))
    verify(protocol, file("content", signed), "signature")
    verify(protocol, file("content", signed.replace(b"text/", b"text//", 1)), "signature", status=1)
    check(f"{name}: micalg", digest_of(protocol, "signature"), message.get_param("micalg"))
    check(f"{name}: content", essence(source), essence(content.as_bytes(policy=EXACT)))
    if protocol == "smime":
        cms("-verify", "-inform", "SMIME", "-CAfile", "ca.pem", "-purpose", "smimesign", data=written)

def check_encrypting(name, protocol, source, *options):
    written = run(KELMIME, "encrypt", *options, "--protocol", protocol, data=source)
    check(f"{name}: is secret", False, b"secret" in written or b"JVBERg" in written)
    if protocol == "openpgp":
        status = re.findall(rb"\[GNUPG:\] (\w+)", gpg("--status-fd", "1", "--output", "opened", "--yes", "--decrypt",
                                                      data=email.message_from_bytes(written).get_payload(1).get_payload(decode=True)))
        check(f"{name}: is signed", bool(options), b"GOODSIG" in status)
        opened = pathlib.Path("opened").read_bytes()
        check(f"{name}: content", essence(source), essence(opened))
    for reader in ["ann.pem", "bob.pem"] * (protocol == "smime"):
        opened = cms("-decrypt", "-inform", "SMIME", "-recip", reader, data=written)
        if options:
            opened = cms("-verify", "-inform", "SMIME", "-CAfile", "ca.pem", "-purpose", "smimesign", data=opened)
        check(f"{name} for {reader}: content", essence(source), essence(opened))

# --- What the others write ---------------------------------------------------------------------------------------

def multipart(subtype, protocol, *parts):
    lines = b"".join(b"--=b\n" + part + b"\n" for part in parts)
    return b'Content-Type: multipart/%s; micalg=x; protocol="application/%s"; boundary="=b"\n\n%s--=b--\n' % (subtype, protocol, lines)

def signed_by_pgp(entity, over, *options):
    signature = gpg("--local-user", "ann@x.org", "--armor", "--detach-sign", *options, data=over)
    return multipart(b"signed", b"pgp-signature", entity, b"Content-Type: application/pgp-signature\n\n" + signature)

def encrypted_by_pgp(entity, *options):
    data = gpg("--armor", "--encrypt", "--recipient", "bob@x.org", *options, data=with_crlf(entity))
    return multipart(b"encrypted", b"pgp-encrypted", b"Content-Type: application/pgp-encrypted\n\nVersion: 1\n", b"Content-Type: application/octet-stream\n\n" + data)

def signed_by_cms(entity, over):
    signature = cms("-sign", "-binary", "-signer", "ann.pem", "-outform", "DER", data=over)
    part = email.mime.base.MIMEBase("application", "x-pkcs7-signature")
    part.set_payload(signature)
    email.encoders.encode_base64(part)
    return multipart(b"signed", b"x-pkcs7-signature", entity, part.as_bytes())

def check_reading(name, entity, word, *, lines=None):
    message = HEAD + entity
    check(f"{name}: word", (word + "\n").encode(), run(KELMIME, "verify", data=message, status=int(word != "trustedSignature")))
    if lines is not None:
        check(f"{name}: text", lines, run(KELMIME, "decrypt", data=message))

def check_others(name, content):
    """Only the armour of the protected part is theirs: each form of line end, each order of signing and encrypting."""
    crlf, text = with_crlf(content), b"the secret\n" if name == "text" else None
    cms_signed = lambda *options: cms("-sign", "-signer", "ann.pem", *options, data=content)
    cms_encrypted = lambda data: cms("-encrypt", "-aes256", "ann.pem", "bob.pem", data=data)
    sign = ("--sign", "--local-user", "ann@x.org")
    for form, entity, word in (
            ("OpenPGP over CR LF", signed_by_pgp(content, crlf), "trustedSignature"), ("OpenPGP over LF", signed_by_pgp(content, content), "trustedSignature"),
            ("OpenPGP over text", signed_by_pgp(content, content, "--textmode", "--digest-algo", "SHA384"), "trustedSignature"),
            ("OpenPGP over something else", signed_by_pgp(content, crlf + b"\r\n"), "badSignature"),
            ("S/MIME over CR LF", signed_by_cms(content, crlf), "trustedSignature"), ("S/MIME over LF", signed_by_cms(content, content), "trustedSignature"),
            ("S/MIME over something else", signed_by_cms(content, crlf + b"\r\n"), "badSignature"),
            ("S/MIME of their own", cms_signed(), "trustedSignature"), ("S/MIME with its content", cms_signed("-nodetach"), "trustedSignature")):
        check_reading(f"{name}, {form}", entity, word)
    for form, entity, word in (
            ("OpenPGP", encrypted_by_pgp(content), "decrypted"), ("OpenPGP, signed in one", encrypted_by_pgp(content, *sign), "trustedSignature"),
            ("OpenPGP around signed", encrypted_by_pgp(signed_by_pgp(content, crlf)), "trustedSignature"),
            ("S/MIME", cms_encrypted(content), "decrypted"), ("S/MIME around signed", cms_encrypted(cms_signed()), "trustedSignature"),
            ("S/MIME around opaque", cms_encrypted(cms_signed("-nodetach")), "trustedSignature")):
        check_reading(f"{name}, encrypted, {form}", entity, word, lines=text)

def make_keys(folder):
    os.environ.update(GNUPGHOME=f"{folder}/gnupg", XDG_DATA_HOME=folder, XDG_CONFIG_HOME=folder)
    os.mkdir("gnupg", 0o700)
    file("gnupg/gpg.conf", b"no-auto-key-locate\ndisable-dirmngr\n")
    file("config", b"[req]\ndistinguished_name = name\n[name]\n")
    new = ["req", "-x509", "-config", "config", "-nodes", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256"]
    openssl(*new, "-keyout", "ca.key", "-out", "ca.pem", "-subj", "/CN=Authority", "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign")
    for kind in ("identities", "authorities"):
        os.makedirs(f"postwick/smime/{kind}")
    file("postwick/smime/authorities/ca", pathlib.Path("ca.pem").read_bytes())
    for name in ("ann", "bob"):
        gpg("--quick-gen-key", f"{name} <{name}@x.org>", "ed25519", "cert,sign", "never")
        key = re.search(r"fpr:+(\w+)", gpg("--with-colons", "--list-keys", name).decode())[1]
        gpg("--quick-add-key", key, "cv25519", "encr", "never")
        openssl(*new, "-CA", "ca.pem", "-CAkey", "ca.key", "-keyout", f"{name}.key", "-out", f"{name}.crt", "-subj", f"/CN={name}", "-addext", "basicConstraints=critical,CA:FALSE",
                "-addext", "keyUsage=critical,digitalSignature,keyAgreement", "-addext", "extendedKeyUsage=emailProtection", "-addext", f"subjectAltName=email:{name}@x.org")
        both = file(f"{name}.pem", pathlib.Path(f"{name}.crt").read_bytes() + pathlib.Path(f"{name}.key").read_bytes())
        file(f"postwick/smime/identities/{name}", pathlib.Path(both).read_bytes())

def main():
    with tempfile.TemporaryDirectory(prefix="kp_", dir="/tmp", ignore_cleanup_errors=True) as folder:  # a long path breaks the agent of GnuPG
        os.chdir(folder)
        make_keys(folder)
        for name, content in CONTENTS.items():
            for protocol in ("openpgp", "smime"):
                check_signing(f"{name}, {protocol}", protocol, HEAD + content)
                check_encrypting(f"{name}, {protocol}", protocol, HEAD + content)
                check_encrypting(f"{name}, {protocol}, signed", protocol, HEAD + content, "--sign")
            check_others(name, content)
        run("gpgconf", "--kill", "all")
        os.chdir("/")
    exit_with_result()

main()
