#!/usr/bin/env python3
"""Runs the built vestractl.exe from outside, against the demo containers in a Wine prefix of its own."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / 'build' / 'console-test'
PREFIX = WORK / 'prefix'
os.environ['VESTRA_PREFIX'] = str(PREFIX)
os.environ['PYTHONIOENCODING'] = 'utf-8'
SCHEMA = json.loads((ROOT / 'docs' / 'vestractl.schema.json').read_text())

PERSON, LOCKED, FIXED = 'Иванов Иван Иванович', 'С паролем (with a password)', 'Not exportable (неэкспортируемый)'
DAMAGED, WRONG, ENDED = 'Damaged (поврежден)', 'Wrong certificate (чужой сертификат)', 'Usage ended (срок ключа истек)'
SIGNATURE, REMOVABLE = 'Signature only (только подпись)', 'On a removable carrier (съемный носитель)'
PASSWORD = '12345678'


def run(program, *arguments, stdin=''):
    """The exit code, and what was written to both outputs."""
    done = subprocess.run([str(ROOT / 'tools' / 'wine.sh'), str(ROOT / 'build' / 'bin' / program), *arguments],
                          input=stdin.encode(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=300)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def tool(*arguments):
    code, output, error = run('softcsp.exe', *arguments)
    assert code == 0, f'softcsp {arguments}: code {code}, {output}{error}'


def windows_path(path):
    return 'Z:' + str(path).replace('/', '\\')


class Console(unittest.TestCase):
    maxDiff = None

    def vestractl(self, *arguments, code=0, stdin=''):
        """What it prints as text, and its messages."""
        found, output, error = run('vestractl.exe', '--lang', 'en', *arguments, stdin=stdin)
        self.assertEqual(found, code, f'exit code of {arguments}; {output}{error}')
        return output.replace('\r', ''), error.replace('\r', '')

    def document(self, *arguments, code=0, stdin=''):
        """The JSON document, which must fit the schema."""
        found, output, error = run('vestractl.exe', '--json', *arguments, stdin=stdin)
        self.assertEqual(found, code, f'exit code of {arguments}; {error}')
        document = json.loads(output)
        jsonschema.validate(document, SCHEMA)
        self.assertEqual(document['exitCode'], code)
        return document

    def names(self, *arguments):
        return sorted(one['name'] for one in self.document('list', *arguments)['containers'])


class Containers(Console):
    def test_list_shows_names_carriers_and_keys(self):
        user = [DAMAGED, FIXED, REMOVABLE, SIGNATURE, ENDED, WRONG, PERSON, LOCKED]
        self.assertEqual(self.names(), sorted(user))
        self.assertEqual(self.names('--computer'), sorted([PERSON, LOCKED]))
        self.assertEqual(self.names('--user', '--computer'), sorted(user + [PERSON, LOCKED]))
        document = self.document('list', '--provider', 'kelvane gost r 34.10-2001 kc1 csp')
        one = next(one for one in document['containers'] if one['name'] == REMOVABLE)
        self.assertEqual(one['carrier'], 'FLASH')
        self.assertEqual(one['qualifiedName'], '\\\\.\\FLASH\\' + REMOVABLE)
        self.assertEqual([key['key'] for key in one['keys']], ['exchange'])
        self.assertEqual(one['keys'][0]['certificate']['subject'], 'CN=' + REMOVABLE)
        self.assertEqual(self.names('--provider', 'Kelvane GOST R 34.10-94 KC1 CSP'), [])
        self.document('list', '--provider', 'nobody', code=3)

    def test_check_finds_what_the_demo_containers_show(self):
        document = self.document('check', '--all', '--silent', code=1)
        passed = {one['name']: one['passed'] for one in document['containers']}
        self.assertEqual(passed, {PERSON: True, LOCKED: False, SIGNATURE: True, FIXED: True, WRONG: False,
                                  ENDED: False, DAMAGED: False, REMOVABLE: True})
        self.assertEqual(document['summary'], {'checked': 8, 'failed': 4})
        failed = {one['name']: [row['row'] for row in one['rows'] if row['mark'] == 'failed']
                  for one in document['containers']}
        self.assertEqual(failed[DAMAGED], ['verdict', 'integrity'])
        self.assertEqual(failed[WRONG], ['verdict', 'certificateInContainer'])
        self.assertEqual(failed[ENDED], ['verdict', 'usagePeriod'])
        self.document('check', LOCKED, '--pin-stdin', stdin=PASSWORD + '\n')
        self.document('check', LOCKED, '--pin-stdin', stdin='wrong\r\n', code=1)
        self.document('check', PERSON, '--computer')
        self.document('check', PERSON, 'nobody', code=3)

    def test_check_rows_are_named_alike_in_both_languages(self):
        rows = {}
        for language in ('en', 'ru'):
            document = self.document('check', '--all', '--silent', '--lang', language, code=1)
            rows[language] = [(row['row'], row['mark']) for one in document['containers'] for row in one['rows']]
            for one in document['containers']:
                for row in one['rows']:
                    self.assertEqual(row['row'] is None, row['label'].strip() == '', row)
        self.assertEqual(rows['en'], rows['ru'])

    def test_copy_under_a_new_name_and_onto_a_carrier(self):
        copy = self.document('copy', PERSON, 'Copy', '--verify', '--silent')
        self.assertIs(copy['containers'][0]['verified'], True)
        self.document('copy', PERSON, 'Copy', '--silent', code=3)  # there is one of that name
        _, error = self.vestractl('copy', FIXED, 'Copy 2', '--silent', code=3)
        self.assertRegex(error, 'may not be exported.*0x8009000B')
        self.assertNotIn('Copy 2', self.names())
        self.document('copy', PERSON, LOCKED, '--to', 'FLASH', '--pin-stdin', stdin=PASSWORD)
        all_copied = self.document('copy', '--all', '--to', 'FLASH', '--silent', code=3)
        copied = [one['target'] for one in all_copied['containers'] if 'target' in one]
        self.assertEqual(copied, ['\\\\.\\FLASH\\Copy', '\\\\.\\FLASH\\' + SIGNATURE])
        self.assertEqual(all_copied['summary']['failed'], 6)
        for name in [PERSON, LOCKED, 'Copy', SIGNATURE]:
            self.vestractl('delete', '\\\\.\\FLASH\\' + name, '--yes')
        self.vestractl('delete', 'Copy', '--yes', '--silent')
        self.document('copy', PERSON, '--to', 'ABSENT', '--silent', code=3)

    def test_delete_asks_or_refuses(self):
        tool('create', 'To delete')
        _, error = self.vestractl('delete', 'To delete', code=2)
        self.assertIn('--yes', error)
        self.assertIn('To delete', self.names())
        self.document('delete', 'To delete', 'nobody', '--yes', '--silent', code=3)
        self.assertNotIn('To delete', self.names())

    def test_password_needs_a_window(self):
        _, error = self.vestractl('password', PERSON, '--silent', code=3)
        self.assertIn('0x80090022', error)

    def test_certificates_are_shown_saved_and_installed(self):
        shown = self.document('certificates', PERSON)
        kinds = sorted(one['kind'] for one in shown['certificates'])
        self.assertEqual(kinds, ['authority', 'authority', 'exchange', 'signature'])
        self.assertEqual(self.document('certificates', WRONG, code=1)['problems'], ['otherExchangeKey'])

        directory = WORK / 'saved'
        shutil.rmtree(directory, ignore_errors=True)
        directory.mkdir()
        save = ('certificates', PERSON, '--save', windows_path(directory))
        self.assertEqual(len(self.document(*save)['files']), 4)
        files = {file.name: file.read_bytes() for file in directory.iterdir()}
        self.assertEqual(len(files), 4)
        first = next(iter(files))
        (directory / first).write_bytes(b'mine')
        self.document(*save, code=3)
        self.assertEqual((directory / first).read_bytes(), b'mine')
        self.document(*save, '--overwrite')
        self.assertEqual({file.name: file.read_bytes() for file in directory.iterdir()}, files)

        installed = self.document('certificates', PERSON, '--install', '--replace')['installed']
        self.assertEqual([one['store'] for one in installed], ['My', 'ca'])
        linked = [one['name'] for one in self.document('list')['containers'] if one['linked']]
        self.assertIn(PERSON, linked)
        self.document('certificates', PERSON, '--install', code=3)  # it is in the store, and nobody can be asked
        again = self.document('certificates', PERSON, '--install', '--replace', '--trust-roots')['installed']
        self.assertEqual([one['store'] for one in again], ['My', 'root'])

    def test_install_finds_the_key_of_a_file(self):
        single, several = WORK / 'one.cer', WORK / 'several.p7b'
        tool('certificate', SIGNATURE, '--key', 's', '--out', windows_path(single))
        tool('certificate', FIXED, REMOVABLE, '--key', 'x', '--out', windows_path(several))
        self.document('install', windows_path(single), '--container', FIXED, code=3)
        installed = self.document('install', windows_path(single), '--search', '--into-container')['installed']
        self.assertEqual([(one['container']['name'], one['key']) for one in installed], [(SIGNATURE, 'signature')])
        shown = self.document('certificates', SIGNATURE)['certificates']
        self.assertEqual(shown[0]['thumbprint'], installed[0]['thumbprint'])
        self.document('install', windows_path(single), '--container', SIGNATURE, code=3)
        self.document('install', windows_path(single), '--container', SIGNATURE, '--replace', '--store', 'My')
        self.document('install', windows_path(several), '--container', FIXED)
        self.document('install', windows_path(single), '--search', '--store', 'No such store', code=3)
        self.document('install', windows_path(WORK / 'absent.cer'), '--search', code=3)


class HostileNames(Console):
    def test_names_and_subjects_are_shown_visibly_and_escaped(self):
        names = ['%s%n %1 %2', '"quoted" \'and\' `this`', 'line\tbreak'.replace('\t', ' '), '[a,b]', 'list', '--all',
                 '{"json":1}', 'a' * 200, '‹U+202E›']
        for name in names:
            tool('create', '--exportable', '--subject', 'CN=%s%n ' + '\u202e' + 'left', '--', name)
        try:
            listed = self.document('list')
            for name in names:
                self.assertIn(name, [one['name'] for one in listed['containers']])
            text, _ = self.vestractl('list')
            self.assertNotIn('\u202e', text)
            self.assertIn('‹U+202E›left', text)
            for name in names:
                self.document('check', '--silent', '--', name)
                self.document('certificates', '--', name)
        finally:
            for name in names:
                self.document('delete', '--yes', '--silent', '--', name)

    def test_names_of_no_container_are_reported_as_they_are(self):
        names = ['[a,b]', 'check', '', '/x', '%s%n', 'a=b', '{"a"}', '-x', '--all']
        document = self.document('check', '--silent', *names[:-2], '--', *names[-2:], code=3)
        self.assertEqual([one['name'] for one in document['containers']], names)

    def test_a_large_subject(self):
        tool('create', 'Large', '--subject', 'CN=' + 'ж' * 32600)  # nearly 64 KiB, and what a command line can hold
        try:
            self.document('list')
            self.document('check', 'Large', '--silent')
            self.document('certificates', 'Large')
        finally:
            self.document('delete', 'Large', '--yes', '--silent')


class Usage(Console):
    def test_wrong_arguments_are_one_clear_line(self):
        cases = [(), ('frob',), ('lists',), ('--frob',), ('list', '--frob'), ('list', 'one'), ('list', '--json=1'),
                 ('--lang',), ('list', '--provider'), ('list', '--provider', 'a', '--provider', 'b'), ('check',),
                 ('check', '--all', 'one'), ('copy', 'one'), ('copy', '--all'), ('copy', 'a', 'b', 'c'), ('delete',),
                 ('password',), ('password', 'a', 'b'), ('certificates', 'a', '--overwrite'), ('install', 'a'),
                 ('install', 'a', '--search', '--container', 'b'), ('check', '-x'), ('list', '-'),
                 ('check', '--all=no'), ('\u202e',), ('%s%n',), ('list', 'list', '/?')]
        for arguments in cases:
            with self.subTest(arguments):
                text, error = self.vestractl(*arguments, code=2)
                self.assertEqual(text, '')
                self.assertRegex(error, r'\A[^\n]+ See: vestractl [^\n]*--help\n\Z')
        for arguments in ((), ('frob',), ('list', '--json=1'), ('\u202e',), ('list', '--lang', 'de')):
            with self.subTest(arguments):
                self.assertIn('problem', self.document(*arguments, code=2))

    def test_help_of_each_command_has_an_example_in_both_languages(self):
        code, output, _ = run('vestractl.exe', '--help', '--lang', 'en')
        commands = re.findall(r'^  ([a-z]+(?: [a-z]+)?)  ', output, re.M)
        self.assertIn('list', commands)
        for command in commands:
            for language, example in (('en', 'Example:'), ('ru', 'Пример:')):
                with self.subTest(command + ' ' + language):
                    code, output, error = run('vestractl.exe', *command.split(), '--help', '--lang', language)
                    self.assertEqual((code, error), (0, ''))
                    lines = output.splitlines()
                    self.assertIn('  vestractl ' + command, lines[lines.index(example) + 1])
                    self.assertLessEqual(max(map(len, lines)), 80, output)
        self.assertIn('text', self.document('check', '--help'))

    def test_language_follows_the_panel_setting(self):
        tool('store', 'put', '\\local\\Language', '1049')
        self.assertIn('Использование', run('vestractl.exe', '--help')[1])
        tool('store', 'put', '\\local\\Language', '1033')
        self.assertIn('Usage', run('vestractl.exe', '--help')[1])
        self.assertIn('Использование', run('vestractl.exe', '--help', '--lang', 'ru')[1])
        tool('store', 'del', '\\local\\Language')

    def test_output_that_cannot_be_written_is_a_failure(self):
        with open('/dev/full', 'wb') as full:
            done = subprocess.run([str(ROOT / 'tools/wine.sh'), str(ROOT / 'build/bin/vestractl.exe'), 'list'],
                                  stdout=full, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 3)


def prepare():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    subprocess.run([ROOT / 'tools' / 'prefix.sh', 'copy', PREFIX], check=True, stdin=subprocess.DEVNULL)
    subprocess.run([ROOT / 'tools' / 'demo.sh'], check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)


if __name__ == '__main__':
    if '--prepared' in sys.argv:
        sys.argv.remove('--prepared')
    else:
        prepare()
    unittest.main()
