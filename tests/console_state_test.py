#!/usr/bin/env python3
"""Runs the built vestractl.exe from outside: settings, reconciliation, expiry, diagnosis, versions."""
import datetime
import json
import os
import shutil
import sys
import unittest

import console_test
from console_test import ENDED, ROOT, WRONG, Console, run, tool, windows_path

WORK = ROOT / 'build' / 'console-state-test'
PROVIDER = 'Kelvane GOST R 34.10-2001 KC1 CSP'


def store(path):
    """What is stored there; None when there is nothing."""
    code, output, _ = run('softcsp.exe', 'store', 'get', path)
    return output.strip() if code == 0 else None


class Settings(Console):
    def setUp(self):
        shutil.rmtree(WORK / 'files', ignore_errors=True)
        (WORK / 'files').mkdir()
        self.file = WORK / 'files' / 'Параметры.json'
        self.path = windows_path(self.file)

    def write(self, settings):
        self.file.write_text(json.dumps({'format': 1, 'settings': settings}), encoding='utf-8')

    def backups(self):
        return sorted(self.file.parent.glob('*.backup.json'))

    def test_export_change_compare_apply(self):
        self.document('settings', 'export', self.path)
        exported = self.file.read_bytes()
        self.assertEqual(json.loads(exported)['settings'], self.document('settings', 'show')['settings'])
        _, error = self.vestractl('settings', 'export', self.path, code=3)
        self.assertIn(self.file.name, error)
        self.vestractl('settings', 'export', self.path, '--overwrite')
        self.assertEqual(self.file.read_bytes(), exported)
        self.assertEqual(self.document('settings', 'compare', self.path)['differences'], [])

        # As the panel writes them.
        tool('store', 'put', '\\config\\Parameters\\tls_server_max_sessions', '128')
        tool('store', 'put', '\\config\\Parameters\\tls_client_use_ocsp_extensions', '1')
        tool('store', 'put', '\\local\\KeyDevices\\retry_time', '30')
        differences = self.document('settings', 'compare', self.path, code=1)['differences']
        changed = {one['name']: (one['here'], one['there'], one['needsRestart']) for one in differences}
        self.assertEqual(changed, {'timeout.user': (30, None, False),
                                   'tls.client.useOcsp': (True, False, True),
                                   'tls.server.maxSessions': (128, 64, False)})

        dry = self.document('settings', 'apply', self.path, '--dry-run', code=1)
        self.assertEqual(dry['differences'], differences)
        self.assertEqual(dry['restart'], ['tls.client.useOcsp'])
        self.assertEqual(store('\\config\\Parameters\\tls_server_max_sessions'), '128')
        self.assertEqual(self.backups(), [])

        text, _ = self.vestractl('settings', 'apply', self.path)
        self.assertIn('After a restart of Windows these take effect: tls.client.useOcsp', text)
        self.assertEqual(self.document('settings', 'compare', self.path)['differences'], [])
        self.assertIsNone(store('\\local\\KeyDevices\\retry_time'))
        self.assertEqual(len(self.backups()), 1)

        # The backup leads back, and is no longer different then.
        backup = windows_path(self.backups()[0])
        self.assertEqual(len(self.document('settings', 'compare', backup, code=1)['differences']), 3)
        self.document('settings', 'apply', backup)
        self.assertEqual(store('\\local\\KeyDevices\\retry_time'), '30')
        self.assertEqual(store('\\config\\Parameters\\tls_server_max_sessions'), '128')
        self.document('settings', 'apply', self.path)

    def test_apply_writes_nothing_when_one_value_is_wrong(self):
        cases = {
            'out of range': ({'tls.server.maxSessions': 65537}, 'notAllowed', '0..65536'),
            'another type': ({'tls.client.useOcsp': 'yes'}, 'notAllowed', 'false, true'),
            'unknown': ({'tls.client.use‮Ocsp': True}, 'unknown', '‹U+202E›'),
            'format string': ({'%s%n"\n': 1}, 'unknown', '%s%n"‹U+000A›'),
            'no right': ({'security.saveMedia': False}, 'noRight', 'administrator'),
        }
        for name, (settings, problem, message) in cases.items():
            with self.subTest(name):
                self.write({'timeout.user': 99, **settings})
                if problem == 'noRight':
                    tool('store', 'deny', '\\config\\Parameters')
                document = self.document('settings', 'apply', self.path, code=3)
                _, error = self.vestractl('settings', 'apply', self.path, code=3)
                if problem == 'noRight':
                    tool('store', 'allow', '\\config\\Parameters')
                self.assertEqual([one['problem'] for one in document['problems']], [problem])
                self.assertEqual(document['problems'][0]['name'], next(iter(settings)))
                self.assertEqual(error.count('\n'), 1, error)
                self.assertIn(message, error)
                self.assertNotEqual(store('\\local\\KeyDevices\\retry_time'), '99')
                self.assertEqual(self.backups(), [])

    def test_apply_puts_back_what_was_written_before_a_failure(self):
        # The right to the section is there, the one to a value in it is not.
        tool('store', 'put', '\\config\\Parameters\\tls_server_max_sessions', '7')
        tool('store', 'deny', '\\config\\Parameters\\tls_server_max_sessions')
        self.write({'timeout.user': 99, 'security.saveMedia': False, 'tls.server.maxSessions': 8})
        before = self.document('settings', 'show')['settings']
        try:
            document = self.document('settings', 'apply', self.path, code=3)
            _, error = self.vestractl('settings', 'apply', self.path, code=3)
        finally:
            tool('store', 'allow', '\\config\\Parameters\\tls_server_max_sessions')
        self.assertEqual([one['object'] for one in document['failures']], ['tls.server.maxSessions'])
        self.assertEqual(document['failures'][0]['error']['number'], 5)
        self.assertIn('put back', error)
        self.assertEqual(self.document('settings', 'show')['settings'], before)
        self.assertEqual(store('\\config\\Parameters\\tls_server_max_sessions'), '7')
        tool('store', 'del', '\\config\\Parameters\\tls_server_max_sessions')
        self.assertIsNone(store('\\config\\Parameters\\DisableShortcuts'))
        self.assertIsNone(store('\\local\\KeyDevices\\passwd_time'))

    def test_files_that_are_no_settings(self):
        cases = {
            'no JSON': (b'{"format": 1, "settings": {,}}', 'byte'),
            'not UTF-8': (b'{"format": 1, "settings": {"\xff": 1}}', 'byte'),
            'empty': (b'', 'byte'),
            'no format': (b'{"settings": {}}', '"format": 1'),
            'another format': (b'{"format": 2, "settings": {}}', '"format": 1'),
            'format as a text': (b'{"format": "1", "settings": {}}', '"format": 1'),
            'an array': (b'[]', '"format": 1'),
            'no settings': (b'{"format": 1}', '"settings"'),
            'settings of another kind': (b'{"format": 1, "settings": []}', '"settings"'),
            'a value of another kind': (b'{"format": 1, "settings": {"a": [1]}}', "'a'"),
            'a fraction': (b'{"format": 1, "settings": {"a": 1.5}}', ''),
        }
        for name, (content, message) in cases.items():
            with self.subTest(name):
                self.file.write_bytes(content)
                for command in ('compare', 'apply'):
                    _, error = self.vestractl('settings', command, self.path, code=3)
                    self.assertEqual(error.count('\n'), 1, error)
                    self.assertIn(message, error)
                    self.assertEqual(len(self.document('settings', command, self.path, code=3)['failures']), 1)
        self.file.unlink()
        self.assertEqual(self.document('settings', 'compare', self.path, code=3)['failures'][0]['error']['number'], 2)
        self.file.write_bytes(b'\xef\xbb\xbf{"format": 1, "settings": {}}')
        self.assertEqual(self.document('settings', 'compare', self.path)['differences'], [])


class Reconciliation(Console):
    def kinds(self, *arguments, code=1):
        """What was found, as pairs of the kind and the certificate's subject."""
        document = self.document('reconcile', *arguments, code=code)
        return sorted((one['kind'], one['certificate']['subject'][3:]) for one in document['findings']), document

    def test_each_kind_twice_and_repaired_where_it_is_certain(self):
        demo, _ = self.kinds()
        self.assertEqual([kind for kind, _ in demo].count('otherKeyHeld'), 1)
        for number in '12':
            for name in ('gone', 'moved', 'stored', 'twice'):
                tool('create', f'{name} {number}', '--exportable')
        everything, _ = self.kinds()
        self.assertEqual(len(everything), len(demo) + 8)
        output, error = self.vestractl('reconcile', '--repair', code=3)
        self.assertIn('--yes', error)
        self.assertNotIn('Repaired.', output)
        _, document = self.kinds('--repair', '--yes')
        self.assertEqual(document['summary'], {'findings': len(everything), 'repaired': len(everything) - 1})
        self.assertEqual(self.kinds()[0], [('otherKeyHeld', WRONG)])

        for number in '12':
            # "gone": no container any more. "moved": the name belongs to another key, and the key to another name.
            tool('remove', 'gone ' + number)
            self.vestractl('copy', 'moved ' + number, 'moved to ' + number, '--silent')
            self.vestractl('delete', 'moved ' + number, '--yes', '--silent')
            tool('create', 'moved ' + number, '--certs', 'none')
            self.vestractl('copy', 'twice ' + number, 'twice again ' + number, '--silent')
        found, document = self.kinds()
        expected = [('noContainer', 'gone'), ('otherKeyLinked', 'moved'), ('severalContainers', 'twice')]
        made = [(kind, f'{name} {number}') for kind, name in expected for number in '12']
        self.assertEqual(found, sorted([('otherKeyHeld', WRONG)] + made))
        self.assertNotIn('failures', document)
        repairs = {one['certificate']['subject'][3:-2]: one['repair'] for one in document['findings']}
        self.assertEqual((repairs['gone'], repairs['moved'], repairs['twice']), (None, 'link', None))
        self.kinds('--repair', '--yes')
        left, _ = self.kinds()
        self.assertEqual(left, [one for one in found if not one[1].startswith('moved')])

        for number in '12':
            tool('remove', 'twice again ' + number)
        self.assertNotIn('severalContainers', [kind for kind, _ in self.kinds()[0]])


class Reports(Console):
    def test_expiring_is_sorted_and_counts_days(self):
        soon = {}
        for days in (5, 45):
            soon[days] = f'Ends in {days} days'
            end = run_date(days)
            tool('create', soon[days], '--not-after', end)
        names = lambda *arguments: [(one['what'], one['containers'][0]['name'])
                                    for one in self.document('expiring', *arguments, code=1)['expiring']]
        first = ('key', ENDED)
        self.assertEqual(names(), [first, ('certificate', soon[5])])
        self.assertEqual(names('--within', '0'), [first])
        self.assertEqual(names('--within', '60'), [first, ('certificate', soon[5]), ('certificate', soon[45])])
        later = self.document('expiring', '--within', '4000', code=1)['expiring']
        self.assertEqual([one['end'] for one in later], sorted(one['end'] for one in later))
        self.assertEqual(self.document('expiring', '--within', '4000', '--computer', '--provider',
                                       'Kelvane GOST R 34.10-94 KC1 CSP')['expiring'], [])
        for arguments in (('--within', '-1'), ('--within', 'soon'), ('--within', '36501'), ('--within',)):
            with self.subTest(arguments):
                self.document('expiring', *arguments, code=2)
        for name in soon.values():
            tool('remove', name)

    def test_doctor_names_what_is_wrong(self):
        states = lambda code=1: {one['id']: one['state']
                                 for one in self.document('doctor', code=code)['findings'] if one['state'] != 'ok'}
        usual = {'service.kvcsp1': 'warning', 'panel': 'warning'}  # neither is installed here
        self.assertEqual(states(), usual)
        cases = {
            'a right': (lambda on: tool('store', 'deny' if on else 'allow', '\\config\\Provider'),
                        {'rights.\\config\\Provider': 'warning'}),
            'interception': (lambda on: tool('set', 'Type=' + ('1' if on else '')), {'default.intercepted': 'error'}),
            'the language': (lambda on: tool('store', 'put', '\\config\\Language', '7' if on else '1049'),
                             {'language': 'warning'}),
        }
        for name, (change, found) in cases.items():
            with self.subTest(name):
                change(True)
                try:
                    self.assertEqual(states(), {**usual, **found})
                finally:
                    change(False)
        tools = ROOT / 'build' / 'bin'
        lonely = WORK / 'lonely'  # the program without the product's libraries beside it
        lonely.mkdir(exist_ok=True)
        shutil.copy(tools / 'vestractl.exe', lonely)
        code, output, _ = run('../console-state-test/lonely/vestractl.exe', 'doctor', '--json')
        self.assertEqual(code, 1)
        wrong = {one['id'] for one in json.loads(output)['findings'] if one['state'] == 'error'}
        self.assertIn('library.kvsuprt.dll', wrong)
        self.assertIn('panel', wrong)
        text, _ = self.vestractl('doctor', code=1)
        self.assertIn('Warnings: 2, errors: 0', text)

    def test_versions_are_those_of_the_panel(self):
        files = self.document('versions')['files']
        self.assertEqual(len(files), 14)
        self.assertEqual(files, sorted(files, key=lambda one: (one['name'].upper(), one['version'], one['type'],
                                                               one['path'].upper())))
        text, _ = self.vestractl('versions')
        self.assertRegex(text, r'(?m)^crypt32.dll +[0-9.]+ x64 C:\\windows\\system32\\crypt32.dll$')


def run_date(days):
    return (datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(days=days)).strftime('%Y-%m-%d')


if __name__ == '__main__':
    console_test.WORK, console_test.PREFIX = WORK, WORK / 'prefix'
    os.environ['VESTRA_PREFIX'] = str(console_test.PREFIX)
    if '--prepared' in sys.argv:
        sys.argv.remove('--prepared')
    else:
        console_test.prepare()
    unittest.main()
