import java.awt.BorderLayout;
import javax.swing.*;
import javax.swing.event.*;
import javax.swing.table.*;

/** A table of 100,000 rows in Swing, and a field over it; prints how many characters the field holds. */
public class SwingTable {
    public static void main(String[] arguments) {
        SwingUtilities.invokeLater(() -> {
            JTable table = new JTable(new AbstractTableModel() {
                public int getRowCount() { return 100_000; }
                public int getColumnCount() { return 5; }
                public Object getValueAt(int row, int column) { return "r" + row + "c" + column; }
            });
            JTextField field = new JTextField();
            field.getDocument().addDocumentListener(new DocumentListener() {
                private void tell() { System.out.println(field.getText().length()); }
                public void insertUpdate(DocumentEvent event) { tell(); }
                public void removeUpdate(DocumentEvent event) { tell(); }
                public void changedUpdate(DocumentEvent event) { }
            });
            JFrame frame = new JFrame("Heavy Swing");
            frame.add(field, BorderLayout.NORTH);
            frame.add(new JScrollPane(table));
            frame.setSize(900, 800);
            frame.setDefaultCloseOperation(JFrame.EXIT_ON_CLOSE);
            frame.setVisible(true);
            field.requestFocusInWindow();
        });
    }
}
