"""A template for python-dbusmock: as much of UDisks2 as opening a device takes.

Parameters: "file" is what is handed over as the device, "write" whether for writing, too; "answer" is
"grant", "ask" (only when the person may be asked), "refuse", "silence" or "die" (the bus "daemon" ends).
"""

import os

import dbus

BUS_NAME = 'org.freedesktop.UDisks2'
MAIN_OBJ = '/org/freedesktop/UDisks2/Manager'
MAIN_IFACE = 'org.freedesktop.UDisks2.Manager'
SYSTEM_BUS = True

BLOCK = '/org/freedesktop/UDisks2/block_devices/mock'


def open_device(parameters, mode, options):
    """What Block.OpenDevice does."""
    def refusal(name):
        return dbus.exceptions.DBusException('Not authorized', name=f'{BUS_NAME}.Error.{name}')

    answer = parameters['answer']
    if mode != 'r' or answer == 'refuse':
        raise refusal('NotAuthorized')
    if answer == 'ask' and options['auth.no_user_interaction']:
        raise refusal('NotAuthorizedCanObtain')
    if answer == 'silence':
        os.kill(os.getpid(), 19)  # SIGSTOP
    if answer == 'die':
        os.kill(int(parameters['daemon']), 9)
    flags = os.O_RDWR if parameters.get('write') else os.O_RDONLY
    return dbus.types.UnixFd(os.open(parameters['file'], flags))


def load(mock, parameters):
    mock.open_device = lambda *args: open_device(parameters, *args)
    mock.AddMethod(MAIN_IFACE, 'ResolveDevice', 'a{sv}a{sv}', 'ao', f'ret = ["{BLOCK}"]')
    mock.AddObject(BLOCK, f'{BUS_NAME}.Block', {}, [
        ('OpenDevice', 'sa{sv}', 'h', f'ret = objects["{MAIN_OBJ}"].open_device(*args)')])
