import java.awt.TextField;
import javax.swing.*;
import javax.swing.event.*;

/** Fields of Swing and AWT: the first is an ordinary one, the second hides what is typed, the others were filled before. */
public class Fields {
    public static void main(String[] arguments) {
        SwingUtilities.invokeLater(() -> {
            JFrame frame = new JFrame("Fields of Java");
            JPanel panel = new JPanel();
            panel.setLayout(new BoxLayout(panel, BoxLayout.Y_AXIS));
            JTextField first = new JTextField();
            // Its bridge doesn't tell where the window lies, so only the title is read.
            first.getDocument().addDocumentListener(new DocumentListener() {
                public void insertUpdate(DocumentEvent event) { frame.setTitle("Fields of Java: " + first.getText()); }
                public void removeUpdate(DocumentEvent event) {}
                public void changedUpdate(DocumentEvent event) {}
            });
            panel.add(first);
            panel.add(new JPasswordField());
            panel.add(new JPasswordField("filledhidden"));
            JPasswordField peeked = new JPasswordField("filledpeeked");
            peeked.setEchoChar((char) 0);
            panel.add(peeked);
            TextField heavy = new TextField("filledawt");
            heavy.setEchoChar('*');
            panel.add(heavy);
            frame.add(panel);
            frame.setSize(500, 250);
            frame.setVisible(true);
        });
    }
}
