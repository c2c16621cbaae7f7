"""Apple events where there is no Apple Event Manager: messages, statements and a server for them.

An event is sent over a Unix-domain stream socket that is named after the server's signature; each
connection carries one event and its reply. Both messages have this layout, with all integers in
big-endian order:

    offset  size  field
         0     4  length of all that follows, at most 2^30
         4     4  event class           'quiZ' for a request, 'aevt' for a reply
         8     4  event ID              'xRUN' for a request, 'ansr' for a reply
        12     4  return ID, signed     a reply repeats both numbers of its request
        16     4  transaction ID, signed
        20        parameters, to the end of the message, each of them:
                  4 keyword, 4 descriptor type, 4 size, then as many bytes of data

The request's parameter '----' of type 'TEXT' holds one statement of the scripting language, the
reply's holds the page, both in UTF-8. A server that fails replies with a number instead ('errn',
type 'long', 4 bytes, signed) and a sentence ('errs', type 'TEXT').
"""
import codecs
import contextlib
import os
import re
import socketserver
import struct
from typing import NamedTuple

LENGTH, HEAD, PARAMETER = struct.Struct(">I"), struct.Struct(">4s4sii"), struct.Struct(">4s4sI")
LONGEST = 2 ** 30
RUN, ANSWER = (b"quiZ", b"xRUN"), (b"aevt", b"ansr")
NOT_HANDLED, NO_PARAMETER, SYNTAX_ERROR = -1708, -1701, -2740


class Event(NamedTuple):
    """One message; kind is the event class and ID, parameters map a keyword to (type, data)."""

    kind: tuple
    return_id: int
    transaction_id: int
    parameters: dict


def pack(event):
    """The event's bytes, ready to be sent."""
    parts = [HEAD.pack(*event.kind, event.return_id, event.transaction_id)]
    for keyword, (kind, data) in event.parameters.items():
        parts += [PARAMETER.pack(keyword, kind, len(data)), data]
    message = b"".join(parts)
    return LENGTH.pack(len(message)) + message


def receive(stream):
    """Receives the next event; ValueError when the bytes are not an event."""
    length, = LENGTH.unpack(exactly(stream, LENGTH.size))
    if not HEAD.size <= length <= LONGEST:
        raise ValueError(f"a message of {length} bytes")
    message, at, parameters = exactly(stream, length), HEAD.size, {}
    while at < length:
        if at + PARAMETER.size > length:
            raise ValueError("a parameter without a whole head")
        keyword, kind, size = PARAMETER.unpack_from(message, at)
        at += PARAMETER.size + size
        if at > length:
            raise ValueError("a parameter that is longer than its message")
        parameters[keyword] = kind, message[at - size:at]
    event_class, event_id, return_id, transaction_id = HEAD.unpack_from(message)
    return Event((event_class, event_id), return_id, transaction_id, parameters)


def exactly(stream, count):
    """Reads exactly count bytes; ValueError when the peer closes the connection before."""
    data = stream.read(count)
    if len(data) != count:
        raise ValueError(f"the message ended {count - len(data)} bytes early")
    return data


class StatementReader:
    """Reads the one statement that the bridge writes, as a reader of the language would:

        setappleeventvalue call({_TavrelLib},{httpRequest},DICTIONARY,DICTIONARY or "")

    A dictionary is initializeDictionary(key,value,...). A string is in double quotes; quotes in it
    are doubled, and nothing else is escaped, not even line ends and braces. (null) is a string that
    the bridge could not decode. The bridge sends only as many bytes as the statement has UTF-16
    code units, so a statement that is not wholly ASCII has lost its end. Therefore the end of the
    text counts as whatever is missing: quotes and parentheses are closed, missing strings are None.
    """

    BLANKS = re.compile(r"\s*")
    LITERAL = re.compile(r'"((?:[^"]+|"")*)"?')

    def __init__(self, statement):
        self.text = codecs.utf_8_decode(statement)[0]  # drops an incomplete sequence at the end
        self.at = 0
        self.move_by(0)

    def statement(self):
        """The two dictionaries as lists of pairs; ValueError for any other statement."""
        for word in "setappleeventvalue call", "(", "{_TavrelLib}", ",", "{httpRequest}", ",":
            self.need(word)
        variables = self.dictionary()
        self.need(",")
        fields = [] if self.take('""') else self.dictionary()
        self.need(")")
        if not self.at_end():
            raise ValueError(f"end of statement expected at character {self.at}")
        return variables, fields

    def dictionary(self):
        """A list of pairs and not a dict: a form may have several fields of one name."""
        self.need("initializeDictionary")
        self.need("(")
        texts = []
        while not self.take(")"):
            if texts:
                self.need(",")
            if not self.at_end():
                texts.append(self.item())
        if len(texts) % 2:
            if not self.at_end():
                raise ValueError(f"value expected at character {self.at}")
            texts.append(None)
        return list(zip(texts[::2], texts[1::2]))

    def item(self):
        """A string without its quotes, or None."""
        literal = self.LITERAL.match(self.text, self.at)
        if not literal:
            self.need("(null)")
            return None
        self.move_by(len(literal[0]))
        return literal[1].replace('""', '"')

    def take(self, word):
        """Skips the word, if it comes next, or the part of it that is left at the end."""
        found = self.text[self.at:self.at + len(word)]
        if found != word and not (word.startswith(found) and self.at_end(len(found))):
            return False
        self.move_by(len(found))
        return True

    def need(self, word):
        """Skips the word, which must come next."""
        if not self.take(word):
            raise ValueError(f"{word} expected at character {self.at}")

    def move_by(self, count):
        """Moves on, and over blanks, so that `at` is never at a blank."""
        self.at = self.BLANKS.match(self.text, self.at + count).end()

    def at_end(self, further=0):
        return self.at + further == len(self.text)


def run_event(event, answer):
    """The parameters of the reply to an event: the page, or an error."""
    if event.kind != RUN:
        return failure(NOT_HANDLED, "This server runs statements and nothing else.")
    if b"----" not in event.parameters:
        return failure(NO_PARAMETER, "The event holds no statement.")
    try:
        reader = StatementReader(event.parameters[b"----"][1])
        variables, fields = reader.statement()
    except ValueError as error:
        return failure(SYNTAX_ERROR, f"The statement cannot be read: {error}.")
    return {b"----": (b"TEXT", answer(dict(variables), fields, reader.text).encode())}


def failure(number, sentence):
    return {b"errn": (b"long", struct.pack(">i", number)), b"errs": (b"TEXT", sentence.encode())}


class EventHandler(socketserver.StreamRequestHandler):
    """Handles one event; without a valid event there is no reply."""

    def handle(self):
        try:
            event = receive(self.rfile)
        except ValueError:
            return
        parameters = run_event(event, self.server.answer)
        reply = Event(ANSWER, event.return_id, event.transaction_id, parameters)
        self.wfile.write(pack(reply))


class AppleEventServer(socketserver.ThreadingUnixStreamServer):
    """Listens where the bridge looks for the application with the signature QUIZ.

    Replaces the socket that a killed server has left behind. Every user of the machine may connect,
    because the web server seldom runs as the user who starts this program. If XDG_RUNTIME_DIR is a
    private directory, as it usually is, only bridges of the same user reach the socket in it.
    """

    daemon_threads = True

    def __init__(self, answer):
        self.answer = answer
        runtime_folder = os.environ.get("XDG_RUNTIME_DIR") or "/run"
        path = os.path.join(runtime_folder, "apple-events", "QUIZ")
        os.makedirs(os.path.dirname(path), mode=0o755, exist_ok=True)
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)
        super().__init__(path, EventHandler)
        os.chmod(path, 0o666)

    def remove_socket(self):
        os.unlink(self.server_address)
